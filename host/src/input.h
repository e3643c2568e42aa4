#pragma once

#include "secret_bytes.h"

#include <CLI/App.hpp>

#include <array>
#include <string>
#include <string_view>

namespace tvkstore {

// The bytes that a command works on: a file, which may be a pipe, or standard input. Throws Failure.
class Input {
public:
    // An empty path stands for standard input.
    explicit Input(std::string const& path);
    ~Input();
    Input(Input const&) = delete;
    Input& operator=(Input const&) = delete;

    // The next bytes, valid until the next call; none at the end.
    std::string_view read();

    // All that is left. Throws Failure when that is more than `limit` bytes.
    std::string readAll(std::size_t limit);
    SecretBytes readAllSecret(std::size_t limit);

    // For messages.
    std::string const& name() const { return name_; }

    // Whether it is the regular file that is open under this number, or that the path leads to.
    bool isFile(int descriptor) const;
    bool isFile(std::string const& path) const;

private:
    template <typename Content, typename Append>
    Content readAllInto(std::size_t limit, Append const& append);

    std::string name_;
    int file_;
    bool owned_;
    std::array<char, 65536> part_;
};

// The option that names it.
class InputOption {
public:
    void define(CLI::App& command);
    std::string const& path() const { return path_; }

private:
    std::string path_;
};

} // namespace tvkstore

#pragma once

#include "input.h"
#include "output_file.h"
#include "session.h"

#include <CLI/App.hpp>

#include <optional>
#include <string>

namespace tvkstore {

// Where the bytes go that a command makes of its input: to a file, else to standard output; with --json as
// one value.
class ResultOutput {
public:
    void define(CLI::App& command);

    // Makes sure that the result can be written, before anything else is touched. Throws Failure: usage for a
    // place where it can't go.
    void open(Session& session, Input const& input);

    void write(Session& session, std::string_view bytes);

private:
    std::string path_;
    bool force_ = false;
    std::optional<OutputFile> file_;
};

} // namespace tvkstore

#pragma once

#include <cstddef>
#include <string_view>

namespace tvkstore {

struct Utf8Character {
    bool valid;
    std::size_t length; // in bytes, 1 for an invalid byte
    char32_t value;
};

// What the system knows of the characters of UTF-8 text, whatever the caller's locale. One is for one thread
// and a short time.
class Utf8Reader {
public:
    Utf8Reader();
    ~Utf8Reader();
    Utf8Reader(Utf8Reader const&) = delete;
    Utf8Reader& operator=(Utf8Reader const&) = delete;

    // The first character of a text that isn't empty.
    Utf8Character first(std::string_view text) const;

    bool isPrintable(char32_t character) const;

    // Columns on a terminal; below 0 for a character that isn't printable.
    int columnsOf(char32_t character) const;

private:
    void* locale_ = nullptr;
    void* before_ = nullptr;
};

} // namespace tvkstore

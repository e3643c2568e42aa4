#include "text.h"

#include "utf8_reader.h"

#include <cstdio>

namespace tvkstore {

namespace {

bool isHarmless(char32_t value, Utf8Reader const& reader) {
    bool const isMark =
        (value >= U'\u200B' && value <= U'\u200F') || (value >= U'\u2028' && value <= U'\u202E') ||
        (value >= U'\u2060' && value <= U'\u206F') || value == U'\u061C' || value == U'\uFEFF';
    return !isMark && reader.isPrintable(value);
}

std::string escaped(char const* format, unsigned long number) {
    char text[24];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

} // namespace

std::string printable(std::string_view text) {
    Utf8Reader const reader;
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        Utf8Character const character = reader.first(text);
        if (!character.valid) {
            out += escaped("\\x%02lX", static_cast<unsigned char>(text.front()));
        } else if (!isHarmless(character.value, reader)) {
            out += escaped("\\u{%lX}", static_cast<unsigned long>(character.value));
        } else {
            out += text.substr(0, character.length);
        }
        text.remove_prefix(character.length);
    }
    return out;
}

bool isLabel(std::string_view text) {
    Utf8Reader const reader;
    while (!text.empty()) {
        Utf8Character const character = reader.first(text);
        if (!character.valid || character.value == U'\0') {
            return false;
        }
        text.remove_prefix(character.length);
    }
    return true;
}

std::size_t displayWidth(std::string_view text) {
    Utf8Reader const reader;
    std::size_t width = 0;
    while (!text.empty()) {
        Utf8Character const character = reader.first(text);
        int const columns = character.valid ? reader.columnsOf(character.value) : 1;
        width += columns > 0 ? static_cast<std::size_t>(columns) : 0;
        text.remove_prefix(character.length);
    }
    return width;
}

} // namespace tvkstore

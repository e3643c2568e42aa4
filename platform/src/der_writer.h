// Writing DER (X.690): each function gives a complete element.
#pragma once

#include "bytes.h"

#include <initializer_list>

namespace wincrypt {

template <class Sink>
void appendDerHeader(Sink& out, std::uint8_t tag, std::size_t length) {
    out.push_back(tag);
    if (length < 0x80) {
        out.push_back(static_cast<std::uint8_t>(length));
        return;
    }
    int octets = 0;
    for (std::size_t rest = length; rest != 0; rest >>= 8)
        ++octets;
    out.push_back(static_cast<std::uint8_t>(0x80 | octets));
    while (octets-- > 0)
        out.push_back(static_cast<std::uint8_t>(length >> (8 * octets)));
}

// The sink's kind decides whether what was written is wiped.
template <class Sink = Bytes>
Sink derElement(std::uint8_t tag, std::initializer_list<ByteView> parts) {
    std::size_t length = 0;
    for (ByteView const part : parts)
        length += part.size();
    Sink out;
    out.reserve(length + 10);
    appendDerHeader(out, tag, length);
    for (ByteView const part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

} // namespace wincrypt

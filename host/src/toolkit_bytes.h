#pragma once

#include <tvkcore/base/tvkbuffer.h>

#include <string_view>

namespace tvkstore {

// The toolkit's views and buffers as the standard library sees them, and the other way; nothing is copied.

inline TVKASNCBuffer viewOf(std::string_view bytes) {
    return {reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()};
}

inline std::string_view bytesOf(TVKBuffer const& buffer) {
    return {reinterpret_cast<char const*>(buffer.getValue()), buffer.getLength()};
}

} // namespace tvkstore

#pragma once

#include "support/bytes.h"

#include <tvkcore/base/tvkbuffer.h>

using test_support::fromHex;
using test_support::toHex;

inline std::string toHex(TVKASNCBuffer const& view) { return toHex(view.data, view.length); }

inline std::string toHex(TVKBuffer const& buffer) { return toHex(buffer.get()); }

inline TVKASNCBuffer viewOf(test_support::Bytes const& bytes) {
    return {bytes.data(), static_cast<unsigned long>(bytes.size())};
}

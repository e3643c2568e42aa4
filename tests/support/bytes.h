#pragma once

#include <cstdint>
#include <vector>

namespace test_support {

using Bytes = std::vector<std::uint8_t>;

} // namespace test_support

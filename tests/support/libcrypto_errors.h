#pragma once

#include <string>

namespace test_support {

// Throws std::runtime_error with the text and libcrypto's queued reasons, which it takes off the queue,
// unless the call was good.
void requireCrypto(bool good, std::string const& what);

} // namespace test_support

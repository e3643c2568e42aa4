#pragma once

#include "support/bytes.h"

#include <filesystem>
#include <vector>

namespace test_support {

inline constexpr char const* systemTrustBundle = "/etc/ssl/certs/ca-certificates.crt";

// The certificates of a PEM file in its order, each as the bytes that stand there. Throws std::runtime_error
// when the file can't be read to its end or holds no certificate: a test over none would prove nothing.
std::vector<Bytes> readTrustBundle(std::filesystem::path const& file = systemTrustBundle);

} // namespace test_support

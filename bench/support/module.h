#pragma once

#include <tvkcore/tvkcore.h>

#include <memory>

namespace bench {

// The module's root, as a host gets it. The module is loaded at the first call and stays until the process
// ends.
TVKCAPIManager& module();

// The store "MY" of the home that was entered last, through the default provider.
std::unique_ptr<TVKCspManager> openStore();

// The private key that the first certificate with a key in the store refers to.
TVKKRYKey firstKey(TVKCspManager& store);

inline TVKASNCBuffer viewOf(unsigned char const* bytes, std::size_t count) { return {bytes, count}; }

template <class Bytes>
TVKASNCBuffer viewOf(Bytes const& bytes) {
    return {bytes.data(), bytes.size()};
}

} // namespace bench

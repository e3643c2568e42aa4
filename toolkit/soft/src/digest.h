// Message digests and HMAC, both as runs of start, update and finish.
#pragma once

#include "libcrypto.h"

#include <optional>
#include <string_view>

namespace tvksoft {

struct DigestName {
    char const* name;          // libcrypto's
    std::string_view objectId; // content octets (X.690, 8.19)
};

inline constexpr DigestName md5{"MD5", "\x2A\x86\x48\x86\xF7\x0D\x02\x05"};
inline constexpr DigestName sha1{"SHA1", "\x2B\x0E\x03\x02\x1A"};
inline constexpr DigestName sha224{"SHA224", "\x60\x86\x48\x01\x65\x03\x04\x02\x04"};
inline constexpr DigestName sha256{"SHA256", "\x60\x86\x48\x01\x65\x03\x04\x02\x01"};
inline constexpr DigestName sha384{"SHA384", "\x60\x86\x48\x01\x65\x03\x04\x02\x02"};
inline constexpr DigestName sha512{"SHA512", "\x60\x86\x48\x01\x65\x03\x04\x02\x03"};

class Digest {
public:
    static constexpr char className[] = "TVKSoftDigestAlgorithm";

    // Nothing when libcrypto doesn't offer the digest.
    static std::optional<Digest> open(DigestName const& name);

    void start();
    void update(TVKASNCBuffer const& data);
    TVKBuffer finish();

    EVP_MD const* implementation() const { return implementation_.get(); }

    // DER of the DigestInfo for a value of this digest (RFC 8017, 9.2).
    TVKBuffer digestInfo(TVKBuffer const& value) const;

private:
    Digest(DigestName const& name, DigestPtr implementation)
        : name_(&name), implementation_(std::move(implementation)) {}

    DigestName const* name_;
    DigestPtr implementation_;
    DigestContextPtr context_; // null outside a run
};

class Hmac {
public:
    static constexpr char className[] = "TVKSoftKeyedDigestAlgorithm";

    // Nothing when libcrypto doesn't offer the digest, or not with this key.
    static std::optional<Hmac> open(DigestName const& name, TVKASNCBuffer const& key);

    void start();
    void update(TVKASNCBuffer const& data);
    TVKBuffer finish();

private:
    explicit Hmac(MacContextPtr keyed) : keyed_(std::move(keyed)) {}

    MacContextPtr keyed_;   // each run begins as a copy of it
    MacContextPtr context_; // null outside a run
};

} // namespace tvksoft

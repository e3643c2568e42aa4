#pragma once

#include "provider.h"

namespace wincrypt {

class SoftwareKey final : public Key {
public:
    SoftwareKey(std::shared_ptr<RsaPrivateKey const> key, bool exportable) noexcept
        : key_(std::move(key)), exportable_(exportable) {}

    RsaPublicKey const& publicKey() const override { return key_->publicKey(); }
    bool isExportable() const override { return exportable_; }
    Bytes sign(ByteView signedValue) override { return key_->sign(signedValue); }
    SecureBytes decrypt(ByteView block) override { return key_->decrypt(block); }
    SecureBytes exportEncoding() override {
        if (!exportable_)
            fail(NTE_BAD_KEY_STATE);
        return key_->encoding();
    }

private:
    std::shared_ptr<RsaPrivateKey const> key_;
    bool exportable_;
};

} // namespace wincrypt

// The algorithm objects: the toolkit's interfaces over digests, keys and libcrypto's generator.
#pragma once

#include "digest.h"
#include "message.h"
#include "rsakey.h"

#include <tvkcore/kry/tvkkryalgorithm.h>

#include <openssl/rand.h>

#include <algorithm>
#include <climits>

namespace tvksoft {

// Gives a class its name, className, beside that of its base.
template <class Self, class Base>
class Named : public Base {
public:
    bool isKindOf(TVKString const& name) const override {
        return name.compare(Self::className) == 0 || Base::isKindOf(name);
    }
    TVKString getInstanceName() const override { return Self::className; }
};

// `Run` is Digest or Hmac.
template <class Run>
class DigestAlgorithm final : public Named<DigestAlgorithm<Run>, TVKKRYDigestAlgorithm> {
public:
    static constexpr auto& className = Run::className;

    explicit DigestAlgorithm(Run run) : run_(std::move(run)) {}

    TVKBuffer digestData(TVKASNCBuffer const& data) override {
        run_.start();
        run_.update(data);
        return run_.finish();
    }
    void digestDataInit() override { run_.start(); }
    void digestDataUpdate(TVKASNCBuffer const& data) override { run_.update(data); }
    TVKBuffer digestDataFinal() override { return run_.finish(); }

private:
    Run run_;
};

class SignatureAlgorithm final : public Named<SignatureAlgorithm, TVKKRYSignatureAlgorithm> {
public:
    static constexpr char className[] = "TVKSoftSignatureAlgorithm";

    SignatureAlgorithm(Digest digest, RsaKey key) : digest_(std::move(digest)), key_(std::move(key)) {}

    TVKBuffer signData(TVKASNCBuffer const& data) override {
        digest_.start();
        digest_.update(data);
        return signDataFinal();
    }
    void signDataInit() override { digest_.start(); }
    void signDataUpdate(TVKASNCBuffer const& data) override { digest_.update(data); }
    TVKBuffer signDataFinal() override { return key_.sign(digest_, digest_.finish()); }

private:
    Digest digest_;
    RsaKey key_;
};

class VerificationAlgorithm final : public Named<VerificationAlgorithm, TVKKRYVerificationAlgorithm> {
public:
    static constexpr char className[] = "TVKSoftVerificationAlgorithm";

    VerificationAlgorithm(Digest digest, RsaKey key) : digest_(std::move(digest)), key_(std::move(key)) {}

    bool verifyData(TVKASNCBuffer const& data, TVKASNCBuffer const& signature) override {
        digest_.start();
        digest_.update(data);
        return verifyDataFinal(signature);
    }
    void verifyDataInit() override { digest_.start(); }
    void verifyDataUpdate(TVKASNCBuffer const& data) override { digest_.update(data); }
    bool verifyDataFinal(TVKASNCBuffer const& signature) override {
        return key_.verifies(digest_, digest_.finish(), signature);
    }

private:
    Digest digest_;
    RsaKey key_;
};

class EncryptionAlgorithm final : public Named<EncryptionAlgorithm, TVKKRYEncryptionAlgorithm> {
public:
    static constexpr char className[] = "TVKSoftEncryptionAlgorithm";

    explicit EncryptionAlgorithm(RsaKey key) : key_(std::move(key)), message_(key_.messageLimit()) {}

    TVKBuffer encryptData(TVKASNCBuffer const& data) override {
        message_.start();
        message_.add(data);
        return encryptDataFinal();
    }
    void encryptDataInit() override { message_.start(); }
    TVKBuffer encryptDataUpdate(TVKASNCBuffer const& data) override {
        message_.add(data);
        return {};
    }
    TVKBuffer encryptDataFinal() override { return key_.encrypt(message_.take()); }
    TVKKRYKeyRecoveryBlock* getKeyRecoveryBlock() override { return nullptr; }

private:
    RsaKey key_;
    Message message_;
};

class DecryptionAlgorithm final : public Named<DecryptionAlgorithm, TVKKRYDecryptionAlgorithm> {
public:
    static constexpr char className[] = "TVKSoftDecryptionAlgorithm";

    explicit DecryptionAlgorithm(RsaKey key) : key_(std::move(key)), block_(key_.blockSize()) {}

    TVKBuffer decryptData(TVKASNCBuffer const& data) override {
        block_.start();
        block_.add(data);
        return decryptDataFinal();
    }
    void decryptDataInit() override { block_.start(); }
    TVKBuffer decryptDataUpdate(TVKASNCBuffer const& data) override {
        block_.add(data);
        return {};
    }
    TVKBuffer decryptDataFinal() override { return key_.decrypt(block_.take()); }

private:
    RsaKey key_;
    Message block_;
};

class PublicKeyGenAlgorithm final : public Named<PublicKeyGenAlgorithm, TVKKRYPublicKeyGenAlgorithm> {
public:
    static constexpr char className[] = "TVKSoftPublicKeyGenAlgorithm";

    explicit PublicKeyGenAlgorithm(unsigned int bits) : bits_(bits) {}

    TVKKRYKeyPair generateKeyPair() override { return generateRsaKeyPair(bits_); }

private:
    unsigned int bits_;
};

class RandomDataGenAlgorithm final : public Named<RandomDataGenAlgorithm, TVKKRYRandomDataGenAlgorithm> {
public:
    static constexpr char className[] = "TVKSoftRandomDataGenAlgorithm";

    TVKBuffer generateRandomData(unsigned int length) override {
        ErrorMark const errors;
        TVKBuffer data(length, nullptr);
        errors.require(length == 0 || RAND_bytes_ex(nullptr, storageOf(data), length, 0) == 1,
                       "./toolkit/soft/src/softalgorithms", __LINE__, "there are no random data");
        return data;
    }
    void updateSeed(TVKASNCBuffer const& seed) override {
        ErrorMark const errors;
        for (unsigned long done = 0; done < seed.length;) {
            int const count = static_cast<int>(std::min<unsigned long>(seed.length - done, INT_MAX));
            RAND_add(seed.data + done, count, 0);
            done += static_cast<unsigned long>(count);
        }
    }
};

} // namespace tvksoft

#pragma once

#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkstring.h>
#include <tvkcore/kry/tvkkrykey.h>

// The abstract algorithm objects. A factory makes them, the caller owns and deletes them, and one thread at a
// time uses one. Views given to an operation are read during the call only; results are new buffers.
// Operations in three steps run Init, Update any number of times, Final; the first of each group is the same
// work in one step. Failures are exceptions of the toolkit's types.

// The root of the algorithm classes; holds no data.
class TVK_API TVKKRYAlgorithm {
public:
    virtual ~TVKKRYAlgorithm();

    // True when `name` is this class's name or that of a base.
    virtual bool isKindOf(TVKString const& name) const;

    // The class name of the object.
    virtual TVKString getInstanceName() const;

protected:
    TVKKRYAlgorithm();
};

// Message digests, plain and keyed.
class TVK_API TVKKRYDigestAlgorithm : public TVKKRYAlgorithm {
public:
    TVKKRYDigestAlgorithm();
    ~TVKKRYDigestAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    virtual TVKBuffer digestData(TVKASNCBuffer const& data) = 0;
    virtual void digestDataInit() = 0;
    virtual void digestDataUpdate(TVKASNCBuffer const& data) = 0;
    virtual TVKBuffer digestDataFinal() = 0;
};

// A block from which a lost key can be recovered; what it holds is the factory's affair.
struct TVKKRYKeyRecoveryBlock;

class TVK_API TVKKRYEncryptionAlgorithm : public TVKKRYAlgorithm {
public:
    TVKKRYEncryptionAlgorithm();
    ~TVKKRYEncryptionAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    virtual TVKBuffer encryptData(TVKASNCBuffer const& data) = 0;
    virtual void encryptDataInit() = 0;
    virtual TVKBuffer encryptDataUpdate(TVKASNCBuffer const& data) = 0;
    virtual TVKBuffer encryptDataFinal() = 0;

    // The object's key recovery block, which stays the object's, or null.
    virtual TVKKRYKeyRecoveryBlock* getKeyRecoveryBlock() = 0;
};

class TVK_API TVKKRYDecryptionAlgorithm : public TVKKRYAlgorithm {
public:
    TVKKRYDecryptionAlgorithm();
    ~TVKKRYDecryptionAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    virtual TVKBuffer decryptData(TVKASNCBuffer const& data) = 0;
    virtual void decryptDataInit() = 0;
    virtual TVKBuffer decryptDataUpdate(TVKASNCBuffer const& data) = 0;
    virtual TVKBuffer decryptDataFinal() = 0;
};

// Signatures run from the most significant byte to the least.
class TVK_API TVKKRYSignatureAlgorithm : public TVKKRYAlgorithm {
public:
    TVKKRYSignatureAlgorithm();
    ~TVKKRYSignatureAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    virtual TVKBuffer signData(TVKASNCBuffer const& data) = 0;
    virtual void signDataInit() = 0;
    virtual void signDataUpdate(TVKASNCBuffer const& data) = 0;
    virtual TVKBuffer signDataFinal() = 0;
};

// An implementation may report a signature that doesn't fit by false or by an exception.
class TVK_API TVKKRYVerificationAlgorithm : public TVKKRYAlgorithm {
public:
    TVKKRYVerificationAlgorithm();
    ~TVKKRYVerificationAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    virtual bool verifyData(TVKASNCBuffer const& data, TVKASNCBuffer const& signature) = 0;
    virtual void verifyDataInit() = 0;
    virtual void verifyDataUpdate(TVKASNCBuffer const& data) = 0;
    virtual bool verifyDataFinal(TVKASNCBuffer const& signature) = 0;
};

class TVK_API TVKKRYPublicKeyGenAlgorithm : public TVKKRYAlgorithm {
public:
    TVKKRYPublicKeyGenAlgorithm();
    ~TVKKRYPublicKeyGenAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    virtual TVKKRYKeyPair generateKeyPair() = 0;
};

class TVK_API TVKKRYRandomDataGenAlgorithm : public TVKKRYAlgorithm {
public:
    TVKKRYRandomDataGenAlgorithm();
    ~TVKKRYRandomDataGenAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    // `length` random bytes.
    virtual TVKBuffer generateRandomData(unsigned int length) = 0;
    virtual void updateSeed(TVKASNCBuffer const& seed) = 0;
};

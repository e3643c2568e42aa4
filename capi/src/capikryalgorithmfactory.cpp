#include "capikryalgorithmfactory.h"

#include "capikrydecryptionalgorithm.h"
#include "capikryencryptionalgorithm.h"
#include "capikrypublickeygenalgorithm.h"
#include "capikryrandomdatagenalgorithm.h"
#include "capikrysignaturealgorithm.h"
#include "capikryverificationalgorithm.h"
#include "tracing.h"

#include <memory>

namespace {

constexpr SourceFile kSource{"./capi/src/capikryalgorithmfactory", 2048};

// The value by which the key-pair object knows RSA, and that of the encryption and decryption objects.
constexpr int kRSA = 1;
constexpr int kRSAPKCS = 0;

CAPIKRYAlgorithmFactoryData* makeData(CSPManager const& manager) {
    auto data = std::make_unique<CAPIKRYAlgorithmFactoryData>();
    data->cspManager = new CSPManager(manager);
    return data.release();
}

// A new object, or null for whatever keeps it from being made.
template <typename Object, typename... Arguments>
Object* make(Arguments const&... arguments) {
    try {
        return new Object(arguments...);
    } catch (...) {
        return nullptr;
    }
}

// The same for an object with a key, which has to be a reference into a provider.
template <typename Object>
Object* makeWithKey(int algorithm, CSPManager const& manager, TVKKRYKey const& key) {
    return key.getFormat() == TVKKRYKey::KeyRecord ? make<Object>(algorithm, manager, key) : nullptr;
}

} // namespace

CAPIKRYAlgorithmFactory::CAPIKRYAlgorithmFactory(CSPManager const& manager)
    : factoryData(makeData(manager)) {}

CAPIKRYAlgorithmFactory::CAPIKRYAlgorithmFactory(CAPIKRYAlgorithmFactory const& other)
    : TVKKRYAlgorithmFactory(), factoryData(makeData(*other.factoryData->cspManager)) {}

CAPIKRYAlgorithmFactory::~CAPIKRYAlgorithmFactory() {
    delete factoryData->cspManager;
    delete factoryData;
}

TVKKRYAlgorithmFactory* CAPIKRYAlgorithmFactory::duplicate() const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::duplicate");
    return new CAPIKRYAlgorithmFactory(*this);
}

TVKKRYRandomDataGenAlgorithm*
CAPIKRYAlgorithmFactory::make_Default_RandomDataGenAlgorithm(TVKASNCBuffer const* seed) const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_Default_RandomDataGenAlgorithm");
    return make<CAPIKRYRandomDataGenAlgorithm>(*factoryData->cspManager, seed);
}

TVKKRYPublicKeyGenAlgorithm*
CAPIKRYAlgorithmFactory::make_RSA_PublicKeyGenAlgorithm(unsigned int keySizeBits) const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_RSA_PublicKeyGenAlgorithm");
    return make<CAPIKRYPublicKeyGenAlgorithm>(kRSA, *factoryData->cspManager, keySizeBits);
}

TVKKRYDigestAlgorithm* CAPIKRYAlgorithmFactory::make_MD5_DigestAlgorithm() const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_MD5_DigestAlgorithm");
    return nullptr;
}

TVKKRYDigestAlgorithm* CAPIKRYAlgorithmFactory::make_SHA1_DigestAlgorithm() const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_SHA1_DigestAlgorithm");
    return nullptr;
}

TVKKRYSignatureAlgorithm*
CAPIKRYAlgorithmFactory::make_MD5WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_MD5WithRSA_SignatureAlgorithm");
    return makeWithKey<CAPIKRYSignatureAlgorithm>(CAPIKRYSignatureAlgorithm::md5, *factoryData->cspManager,
                                                  key);
}

TVKKRYSignatureAlgorithm*
CAPIKRYAlgorithmFactory::make_SHA1WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_SHA1WithRSA_SignatureAlgorithm");
    return makeWithKey<CAPIKRYSignatureAlgorithm>(CAPIKRYSignatureAlgorithm::sha1, *factoryData->cspManager,
                                                  key);
}

TVKKRYVerificationAlgorithm*
CAPIKRYAlgorithmFactory::make_MD5WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_MD5WithRSA_VerificationAlgorithm");
    return makeWithKey<CAPIKRYVerificationAlgorithm>(CAPIKRYVerificationAlgorithm::md5,
                                                     *factoryData->cspManager, key);
}

TVKKRYVerificationAlgorithm*
CAPIKRYAlgorithmFactory::make_SHA1WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_SHA1WithRSA_VerificationAlgorithm");
    return makeWithKey<CAPIKRYVerificationAlgorithm>(CAPIKRYVerificationAlgorithm::sha1,
                                                     *factoryData->cspManager, key);
}

TVKKRYEncryptionAlgorithm*
CAPIKRYAlgorithmFactory::make_RSAPKCS_EncryptionAlgorithm(TVKKRYKey const& key) const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_RSAPKCS_EncryptionAlgorithm");
    return makeWithKey<CAPIKRYEncryptionAlgorithm>(kRSAPKCS, *factoryData->cspManager, key);
}

TVKKRYDecryptionAlgorithm*
CAPIKRYAlgorithmFactory::make_RSAPKCS_DecryptionAlgorithm(TVKKRYKey const& key,
                                                          TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    OperationTrace const trace(kSource, "CAPIKRYAlgorithmFactory::make_RSAPKCS_DecryptionAlgorithm");
    return makeWithKey<CAPIKRYDecryptionAlgorithm>(kRSAPKCS, *factoryData->cspManager, key);
}

bool CAPIKRYAlgorithmFactory::isKindOf(TVKString const& name) const {
    return name.compare(getClassName()) == 0 || TVKKRYAlgorithmFactory::isKindOf(name);
}

TVKString CAPIKRYAlgorithmFactory::getInstanceName() const { return getClassName(); }

TVKString CAPIKRYAlgorithmFactory::getClassName() const { return "CAPIKRYAlgorithmFactory"; }

#include <tvkcore/kry/tvkkryalgorithm.h>

TVKKRYAlgorithm::TVKKRYAlgorithm() = default;

TVKKRYAlgorithm::~TVKKRYAlgorithm() = default;

bool TVKKRYAlgorithm::isKindOf(TVKString const& name) const { return name.compare("TVKKRYAlgorithm") == 0; }

TVKString TVKKRYAlgorithm::getInstanceName() const { return "TVKKRYAlgorithm"; }

TVKKRYDigestAlgorithm::TVKKRYDigestAlgorithm() = default;

TVKKRYDigestAlgorithm::~TVKKRYDigestAlgorithm() = default;

bool TVKKRYDigestAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare("TVKKRYDigestAlgorithm") == 0 || TVKKRYAlgorithm::isKindOf(name);
}

TVKString TVKKRYDigestAlgorithm::getInstanceName() const { return "TVKKRYDigestAlgorithm"; }

TVKKRYEncryptionAlgorithm::TVKKRYEncryptionAlgorithm() = default;

TVKKRYEncryptionAlgorithm::~TVKKRYEncryptionAlgorithm() = default;

bool TVKKRYEncryptionAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare("TVKKRYEncryptionAlgorithm") == 0 || TVKKRYAlgorithm::isKindOf(name);
}

TVKString TVKKRYEncryptionAlgorithm::getInstanceName() const { return "TVKKRYEncryptionAlgorithm"; }

TVKKRYDecryptionAlgorithm::TVKKRYDecryptionAlgorithm() = default;

TVKKRYDecryptionAlgorithm::~TVKKRYDecryptionAlgorithm() = default;

bool TVKKRYDecryptionAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare("TVKKRYDecryptionAlgorithm") == 0 || TVKKRYAlgorithm::isKindOf(name);
}

TVKString TVKKRYDecryptionAlgorithm::getInstanceName() const { return "TVKKRYDecryptionAlgorithm"; }

TVKKRYSignatureAlgorithm::TVKKRYSignatureAlgorithm() = default;

TVKKRYSignatureAlgorithm::~TVKKRYSignatureAlgorithm() = default;

bool TVKKRYSignatureAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare("TVKKRYSignatureAlgorithm") == 0 || TVKKRYAlgorithm::isKindOf(name);
}

TVKString TVKKRYSignatureAlgorithm::getInstanceName() const { return "TVKKRYSignatureAlgorithm"; }

TVKKRYVerificationAlgorithm::TVKKRYVerificationAlgorithm() = default;

TVKKRYVerificationAlgorithm::~TVKKRYVerificationAlgorithm() = default;

bool TVKKRYVerificationAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare("TVKKRYVerificationAlgorithm") == 0 || TVKKRYAlgorithm::isKindOf(name);
}

TVKString TVKKRYVerificationAlgorithm::getInstanceName() const { return "TVKKRYVerificationAlgorithm"; }

TVKKRYPublicKeyGenAlgorithm::TVKKRYPublicKeyGenAlgorithm() = default;

TVKKRYPublicKeyGenAlgorithm::~TVKKRYPublicKeyGenAlgorithm() = default;

bool TVKKRYPublicKeyGenAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare("TVKKRYPublicKeyGenAlgorithm") == 0 || TVKKRYAlgorithm::isKindOf(name);
}

TVKString TVKKRYPublicKeyGenAlgorithm::getInstanceName() const { return "TVKKRYPublicKeyGenAlgorithm"; }

TVKKRYRandomDataGenAlgorithm::TVKKRYRandomDataGenAlgorithm() = default;

TVKKRYRandomDataGenAlgorithm::~TVKKRYRandomDataGenAlgorithm() = default;

bool TVKKRYRandomDataGenAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare("TVKKRYRandomDataGenAlgorithm") == 0 || TVKKRYAlgorithm::isKindOf(name);
}

TVKString TVKKRYRandomDataGenAlgorithm::getInstanceName() const { return "TVKKRYRandomDataGenAlgorithm"; }

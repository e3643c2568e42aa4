#include "keyprovinfo.h"

#include "capimanagerutility.h"

#include <cstring>

KeyProvInfo::KeyProvInfo(TVKString const& container, TVKString const& provider, DWORD keySpec, DWORD flags)
    : container_(CapiManagerUtility::convertWildChar(container)),
      provider_(CapiManagerUtility::convertWildChar(provider)) {
    std::memset(&info_, 0, sizeof info_);
    info_.pwszContainerName = container_.get();
    info_.pwszProvName = provider_.get();
    info_.dwProvType = PROV_RSA_FULL;
    info_.dwFlags = flags;
    info_.dwKeySpec = keySpec;
}

bool KeyProvInfo::setOn(PCCERT_CONTEXT cert) const {
    return CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info_) != FALSE;
}

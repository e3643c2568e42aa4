#pragma once

#include "widetext.h"

#include <windows.h>
#include <wincrypt.h>

// The property that ties a certificate to its key, with the wide names that it points to.
class KeyProvInfo {
public:
    // The key of `keySpec` in the container of the provider, of type PROV_RSA_FULL. Throws TVKException
    // TVKCORE_TEXT_NOT_CONVERTIBLE.
    KeyProvInfo(TVKString const& container, TVKString const& provider, DWORD keySpec, DWORD flags = 0);

    CRYPT_KEY_PROV_INFO* get() { return &info_; }

    // The certificate gets the property. False on failure, with the last error.
    bool setOn(PCCERT_CONTEXT cert) const;

private:
    WideText container_;
    WideText provider_;
    CRYPT_KEY_PROV_INFO info_;
};

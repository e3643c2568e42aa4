#include "keyreference.h"

#include "cspmanagerutility.h"

#include <tvkcore/asn/tvkcapiasnkeyrecord.h>

CSPManager* duplicateManager(CSPManager const& manager) {
    return static_cast<CSPManager*>(manager.duplicate());
}

void requireKeyRecord(TVKKRYKey const& key) { TVKCAPIASNKeyRecord const record(key.getKeyBlob()); }

void openReferredKey(TVKKRYKey const& key, CSPManager& manager, HCRYPTPROV* provider, HCRYPTKEY* keyHandle) {
    TVKCAPIASNKeyRecord const record(key.getKeyBlob());
    TVKBuffer const objectId = record.getObjectId();
    if (objectId.getLength() == sizeof(CERT_ID)) {
        CspManagerUtility::getCapiKey(objectId, manager.getSystemStore(), provider, keyHandle);
        return;
    }
    DWORD keySpec = 0;
    CspManagerUtility::getCapiKeyProv(objectId, provider, &keySpec, keyHandle, false);
}

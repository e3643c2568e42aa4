#include "key_reference.h"

#include "wide_text.h"

#include <tvkcore/asn/tvkcapiasnkeyrecord.h>

#include <windows.h>

#include <wincrypt.h>

#include <cstring>

namespace tvkstore {

std::optional<KeyReference> readKeyReference(TVKKRYKey const& key) {
    TVKBuffer const image = TVKCAPIASNKeyRecord(key.getKeyBlob()).getObjectId();
    CRYPT_KEY_PROV_INFO info;
    if (image.getLength() != sizeof info) {
        return std::nullopt;
    }
    std::memcpy(&info, image.getValue(), sizeof info);
    return KeyReference{utf8Of(info.pwszProvName), utf8Of(info.pwszContainerName),
                        info.dwKeySpec == AT_KEYEXCHANGE};
}

} // namespace tvkstore

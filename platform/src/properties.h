// The properties that are kept with a certificate, as the caller gives them and as they are stored.
#pragma once

#include "bytes.h"

#include <wincrypt.h>

#include <optional>
#include <string>

namespace wincrypt {

// Both in their stored form (docs/database.md).
struct PropertySet {
    std::optional<Bytes> keyInfo;      // CERT_KEY_PROV_INFO_PROP_ID
    std::optional<Bytes> friendlyName; // CERT_FRIENDLY_NAME_PROP_ID
};

// Errors: ERROR_INVALID_PARAMETER, ERROR_NO_UNICODE_TRANSLATION for a name that is no text.
Bytes storeKeyInfo(CRYPT_KEY_PROV_INFO const& info);

// Delivers the structure with what it points to in one block.
DWORD deliverKeyInfo(ByteView stored, void* buffer, DWORD* length);

struct KeyReference {
    std::string container;
    std::string provider;
    DWORD type = 0;
    DWORD flags = 0;
    DWORD keySpec = 0;
};

KeyReference readKeyReference(ByteView stored); // error: ERROR_FILE_CORRUPT

// A name of whole wide characters is stored as UTF-8, other bytes as they are; both come back as they were
// given.
Bytes storeFriendlyName(ByteView given);
Bytes givenFriendlyName(ByteView stored);

} // namespace wincrypt

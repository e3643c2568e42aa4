#include "platform_decoding_windows.h"

#include <wincrypt.h>

namespace tvkstore {

std::unique_ptr<void, FreeLocal> decodeStructure(char const* kind, std::string_view encoding) {
    void* structure = nullptr;
    DWORD size = 0;
    auto const* const bytes = reinterpret_cast<unsigned char const*>(encoding.data());
    if (CryptDecodeObjectEx(X509_ASN_ENCODING, kind, bytes, static_cast<DWORD>(encoding.size()),
                            CRYPT_DECODE_ALLOC_FLAG, nullptr, &structure, &size) == 0) {
        return nullptr;
    }
    return std::unique_ptr<void, FreeLocal>(structure);
}

} // namespace tvkstore

// Encryption and decryption of one block.
#include "boundary.h"
#include "provider_objects.h"

#include <algorithm>

using namespace wincrypt;

BOOL WINAPI CryptEncrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL, DWORD dwFlags, BYTE* pbData,
                         DWORD* pdwDataLen, DWORD dwBufLen) {
    return boundary([&]() -> DWORD {
        const auto key = objectOf<KeyObject>(hKey);
        if (pdwDataLen == nullptr)
            return ERROR_INVALID_PARAMETER;
        if (hHash != 0)
            return errorValue(NTE_BAD_HASH);
        if (dwFlags != 0)
            return errorValue(NTE_BAD_FLAGS);
        RsaPublicKey const& publicKey = key->key->publicKey();
        DWORD const size = lengthOf(publicKey.blockSize());
        DWORD const length = *pdwDataLen;
        publicKey.requireRoom(length);
        if (pbData == nullptr || dwBufLen < size) {
            *pdwDataLen = size;
            return pbData == nullptr ? ERROR_SUCCESS : ERROR_MORE_DATA;
        }
        Bytes const block = publicKey.encrypt({pbData, length});
        std::reverse_copy(block.begin(), block.end(), pbData);
        *pdwDataLen = size;
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI CryptDecrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData,
                         DWORD* pdwDataLen) {
    return boundary([&]() -> DWORD {
        const auto key = objectOf<KeyObject>(hKey);
        if (pdwDataLen == nullptr || (pbData == nullptr && *pdwDataLen != 0))
            return ERROR_INVALID_PARAMETER;
        if (hHash != 0)
            return errorValue(NTE_BAD_HASH);
        if (dwFlags != 0)
            return errorValue(NTE_BAD_FLAGS);
        if (*pdwDataLen == 0)
            return Final != FALSE && key->decryptedPart.exchange(false) ? ERROR_SUCCESS
                                                                        : errorValue(NTE_BAD_DATA);
        Bytes const block(std::reverse_iterator(pbData + *pdwDataLen), std::reverse_iterator(pbData));
        SecureBytes const clear = key->key->decrypt(block);
        if (!clear.empty())
            std::memcpy(pbData, clear.data(), clear.size());
        *pdwDataLen = lengthOf(clear.size());
        key->decryptedPart.store(Final == FALSE);
        return ERROR_SUCCESS;
    });
}

#include "key_reference.h"

#include <tvkcore/asn/tvkcapiasnkeyrecord.h>

#include <windows.h>

#include <wincrypt.h>

#include <cstring>

namespace tvkstore {

namespace {

void appendUtf8(std::string& text, char32_t character) {
    if (character < 0x80) {
        text += static_cast<char>(character);
        return;
    }
    int const following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    constexpr unsigned char leads[] = {0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(leads[following] | (character >> (6 * following)));
    for (int i = following - 1; i >= 0; --i) {
        text += static_cast<char>(0x80 | ((character >> (6 * i)) & 0x3F));
    }
}

std::string utf8(wchar_t const* wide) {
    std::string text;
    for (; wide != nullptr && *wide != L'\0'; ++wide) {
        appendUtf8(text, static_cast<char32_t>(*wide));
    }
    return text;
}

} // namespace

std::optional<KeyReference> readKeyReference(TVKKRYKey const& key) {
    TVKBuffer const image = TVKCAPIASNKeyRecord(key.getKeyBlob()).getObjectId();
    CRYPT_KEY_PROV_INFO info;
    if (image.getLength() != sizeof info) {
        return std::nullopt;
    }
    std::memcpy(&info, image.getValue(), sizeof info);
    return KeyReference{utf8(info.pwszProvName), utf8(info.pwszContainerName),
                        info.dwKeySpec == AT_KEYEXCHANGE};
}

} // namespace tvkstore

#include "properties.h"

#include "text.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace wincrypt {
namespace {

constexpr DWORD absent = 0xFFFFFFFF; // in place of the length of a string that isn't there
constexpr DWORD maximumParameters = 1024;

class Writer {
public:
    void number(DWORD value) {
        for (int shift = 24; shift >= 0; shift -= 8)
            out.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    void bytes(ByteView value) {
        number(lengthOf(value.size()));
        out.insert(out.end(), value.begin(), value.end());
    }
    void text(wchar_t const* wide) {
        if (wide == nullptr)
            return number(absent);
        auto const utf8 = narrow(wide);
        if (!utf8)
            fail(ERROR_NO_UNICODE_TRANSLATION);
        bytes(viewOf(*utf8));
    }
    Bytes out;
};

class Reader {
public:
    explicit Reader(ByteView stored) : rest_(stored) {}
    ByteView take(std::size_t size) {
        if (size > rest_.size())
            fail(ERROR_FILE_CORRUPT);
        ByteView const taken = rest_.first(size);
        rest_ = rest_.subspan(size);
        return taken;
    }
    DWORD number() {
        DWORD value = 0;
        for (std::uint8_t const byte : take(4))
            value = value << 8 | byte;
        return value;
    }
    ByteView bytes() { return take(number()); }
    std::optional<std::string> text() {
        DWORD const length = number();
        if (length == absent)
            return std::nullopt;
        ByteView const utf8 = take(length);
        return std::string(utf8.begin(), utf8.end());
    }

private:
    ByteView rest_;
};

struct Parameter {
    DWORD param;
    DWORD flags;
    ByteView data;
};

struct StoredKeyInfo {
    std::optional<std::string> container;
    std::optional<std::string> provider;
    DWORD type;
    DWORD flags;
    DWORD keySpec;
    std::vector<Parameter> parameters;
};

StoredKeyInfo readKeyInfo(ByteView stored) {
    Reader in(stored);
    StoredKeyInfo info{};
    info.type = in.number();
    info.flags = in.number();
    info.keySpec = in.number();
    info.container = in.text();
    info.provider = in.text();
    DWORD const count = in.number();
    if (count > maximumParameters)
        fail(ERROR_FILE_CORRUPT);
    for (DWORD i = 0; i < count; ++i) {
        DWORD const param = in.number();
        DWORD const flags = in.number();
        info.parameters.push_back({param, flags, in.bytes()});
    }
    return info;
}

std::optional<std::wstring> wideText(std::optional<std::string> const& text) {
    if (!text)
        return std::nullopt;
    auto wide = widen(*text);
    if (!wide)
        fail(ERROR_FILE_CORRUPT);
    return wide;
}

constexpr std::uint8_t formUtf8 = 'U';
constexpr std::uint8_t formRaw = 'R';

} // namespace

Bytes storeKeyInfo(CRYPT_KEY_PROV_INFO const& info) {
    if (info.cProvParam > maximumParameters || (info.cProvParam != 0 && info.rgProvParam == nullptr))
        fail(ERROR_INVALID_PARAMETER);
    Writer writer;
    writer.number(info.dwProvType);
    writer.number(info.dwFlags);
    writer.number(info.dwKeySpec);
    writer.text(info.pwszContainerName);
    writer.text(info.pwszProvName);
    writer.number(info.cProvParam);
    for (DWORD i = 0; i < info.cProvParam; ++i) {
        CRYPT_KEY_PROV_PARAM const& parameter = info.rgProvParam[i];
        writer.number(parameter.dwParam);
        writer.number(parameter.dwFlags);
        writer.bytes(viewOf(parameter.pbData, parameter.cbData));
    }
    return std::move(writer.out);
}

DWORD deliverKeyInfo(ByteView stored, void* buffer, DWORD* length) {
    if (length == nullptr)
        return ERROR_INVALID_PARAMETER;
    StoredKeyInfo const info = readKeyInfo(stored);
    auto const container = wideText(info.container);
    auto const provider = wideText(info.provider);
    auto const sizeOf = [](auto const& text) { return text ? (text->size() + 1) * sizeof(wchar_t) : 0; };
    std::size_t size = sizeof(CRYPT_KEY_PROV_INFO) + info.parameters.size() * sizeof(CRYPT_KEY_PROV_PARAM) +
                       sizeOf(container) + sizeOf(provider);
    for (Parameter const& parameter : info.parameters)
        size += parameter.data.size();
    DWORD const room = *length;
    *length = lengthOf(size);
    if (buffer == nullptr)
        return ERROR_SUCCESS;
    if (room < size)
        return ERROR_MORE_DATA;

    // Structure, parameters, strings, parameter bytes: so everything that needs alignment has it.
    auto* const image = static_cast<BYTE*>(buffer);
    BYTE* place = image + sizeof(CRYPT_KEY_PROV_INFO);
    CRYPT_KEY_PROV_INFO result{};
    result.dwProvType = info.type;
    result.dwFlags = info.flags;
    result.dwKeySpec = info.keySpec;
    result.cProvParam = static_cast<DWORD>(info.parameters.size());
    BYTE* const parameterPlace = place;
    place += info.parameters.size() * sizeof(CRYPT_KEY_PROV_PARAM);
    auto const put = [&](std::optional<std::wstring> const& text) -> LPWSTR {
        if (!text)
            return nullptr;
        BYTE* const start = place;
        std::memcpy(start, text->c_str(), sizeOf(text));
        place += sizeOf(text);
        return reinterpret_cast<LPWSTR>(start);
    };
    result.pwszContainerName = put(container);
    result.pwszProvName = put(provider);
    for (std::size_t i = 0; i < info.parameters.size(); ++i) {
        Parameter const& parameter = info.parameters[i];
        CRYPT_KEY_PROV_PARAM const out{parameter.param, place, static_cast<DWORD>(parameter.data.size()),
                                       parameter.flags};
        std::memcpy(parameterPlace + i * sizeof out, &out, sizeof out);
        if (!parameter.data.empty())
            std::memcpy(place, parameter.data.data(), parameter.data.size());
        place += parameter.data.size();
    }
    if (!info.parameters.empty())
        result.rgProvParam = reinterpret_cast<PCRYPT_KEY_PROV_PARAM>(parameterPlace);
    std::memcpy(image, &result, sizeof result);
    return ERROR_SUCCESS;
}

KeyReference readKeyReference(ByteView stored) {
    StoredKeyInfo const info = readKeyInfo(stored);
    return {info.container.value_or(""), info.provider.value_or(""), info.type, info.flags, info.keySpec};
}

Bytes storeFriendlyName(ByteView given) {
    Bytes stored;
    if (given.size() % sizeof(wchar_t) == 0) {
        std::wstring wide(given.size() / sizeof(wchar_t), L'\0');
        if (!wide.empty())
            std::memcpy(wide.data(), given.data(), given.size());
        if (auto const utf8 = narrow(wide)) {
            stored.push_back(formUtf8);
            stored.insert(stored.end(), utf8->begin(), utf8->end());
            return stored;
        }
    }
    stored.push_back(formRaw);
    stored.insert(stored.end(), given.begin(), given.end());
    return stored;
}

Bytes givenFriendlyName(ByteView stored) {
    if (stored.empty())
        fail(ERROR_FILE_CORRUPT);
    ByteView const content = stored.subspan(1);
    if (stored[0] == formRaw)
        return {content.begin(), content.end()};
    if (stored[0] != formUtf8)
        fail(ERROR_FILE_CORRUPT);
    // Most are, and a search by label asks for each name four times.
    if (std::all_of(content.begin(), content.end(), [](std::uint8_t octet) { return octet < 0x80; })) {
        Bytes given(content.size() * sizeof(wchar_t));
        for (std::size_t place = 0; place < content.size(); ++place) {
            auto const character = static_cast<wchar_t>(content[place]);
            std::memcpy(given.data() + place * sizeof character, &character, sizeof character);
        }
        return given;
    }
    auto const wide = widen({reinterpret_cast<char const*>(content.data()), content.size()});
    if (!wide)
        fail(ERROR_FILE_CORRUPT);
    Bytes given(wide->size() * sizeof(wchar_t));
    std::memcpy(given.data(), wide->data(), given.size());
    return given;
}

} // namespace wincrypt

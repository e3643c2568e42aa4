#include "stress.h"

#include <algorithm>

namespace stress {
namespace {

struct Pattern {
    Bytes encoding;
    std::ptrdiff_t place; // of the numbers
};

// Never destroyed: threads that the process has left use it when it ends.
Pattern const& pattern() {
    static auto const* const made = [] {
        Bytes const serial = {0x53, 0xA5, 0x5A, 0xA5, 0x5A, 0xA5, 0x5A};
        CertificateFields fields;
        fields.serial = serial;
        Pattern result{makeCertificate(fields, TestKey::shared(512)), 0};
        Bytes const& bytes = result.encoding;
        result.place =
            std::search(bytes.begin(), bytes.end(), serial.begin(), serial.end()) - bytes.begin() + 1;
        return new Pattern(result);
    }();
    return *made;
}

} // namespace

Bytes certificateOf(unsigned high, unsigned low) {
    Bytes encoding = pattern().encoding;
    // In the serial number, and in the last octets of the signature.
    for (auto place : {encoding.begin() + pattern().place, encoding.end() - 6})
        for (unsigned const number : {high, low})
            for (int shift = 16; shift >= 0; shift -= 8)
                *place++ = static_cast<std::uint8_t>(number >> shift);
    return encoding;
}

std::pair<unsigned, unsigned> numbersOf(Bytes const& encoding) {
    auto const at = [&](std::ptrdiff_t place) {
        auto const octet = encoding.begin() + pattern().place + place;
        return unsigned{octet[0]} << 16 | unsigned{octet[1]} << 8 | octet[2];
    };
    return {at(0), at(3)};
}

ContextHandle findIn(StoreHandle const& store, Bytes const& encoding) {
    ContextHandle const wanted = contextOf(encoding);
    return ContextHandle(CertFindCertificateInStore(store.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING,
                                                    wanted.get(), nullptr));
}

bool importKey(char const* container, unsigned bits) {
    Bytes key = TestKey::shared(bits).privateKeyInfo();
    CRYPT_PKCS8_IMPORT_PARAMS parameters{};
    parameters.PrivateKey = {sizeOf(key), key.data()};
    parameters.pResolvehCryptProvFunc = [](CRYPT_PRIVATE_KEY_INFO*, HCRYPTPROV* provider, LPVOID name) {
        return CryptAcquireContextA(provider, static_cast<char const*>(name), MS_ENHANCED_PROV_A, 1, 0);
    };
    parameters.pVoidResolveFunc = const_cast<char*>(container);
    ProviderHandle provider;
    return CryptImportPKCS8(parameters, CRYPT_EXPORTABLE, provider.address(), nullptr) != FALSE;
}

namespace {

std::map<std::string, unsigned> boxes() {
    std::map<std::string, unsigned> found;
    for (std::string const& name : containerNames()) {
        if (!name.starts_with("box"))
            continue;
        ProviderHandle const box = openContainer(name.c_str());
        HCRYPTKEY key = 0;
        DWORD bits = 0;
        DWORD size = sizeof bits;
        bool const good = CryptGetUserKey(box.get(), AT_KEYEXCHANGE, &key)
                              ? CryptGetKeyParam(key, KP_KEYLEN, reinterpret_cast<BYTE*>(&bits), &size, 0)
                              : GetLastError() == code(NTE_NO_KEY);
        EXPECT_TRUE(good) << name << ": " << std::hex << GetLastError();
        found[name] = bits;
    }
    return found;
}

} // namespace

std::ostream& operator<<(std::ostream& out, State const& state) {
    for (auto const& [number, certificate] : state.certificates)
        out << number << '(' << certificate.name << ',' << certificate.container << ") ";
    for (auto const& [name, bits] : state.boxes)
        out << name << '=' << bits << ' ';
    return out;
}

State readState() {
    State state;
    state.boxes = boxes();
    StoreHandle const store = openStore("MY");
    EXPECT_TRUE(store) << std::hex << GetLastError();
    PCCERT_CONTEXT context = nullptr;
    while ((context = CertEnumCertificatesInStore(store.get(), context)) != nullptr) {
        Certificate& seen = state.certificates[numbersOf(encodingOf(context)).second];
        if (auto const name = friendlyName(context))
            seen.name = static_cast<unsigned>(std::stoul(*name));
        if (auto const info = property(context, CERT_KEY_PROV_INFO_PROP_ID))
            seen.container = static_cast<unsigned>(
                std::stoul(reinterpret_cast<CRYPT_KEY_PROV_INFO const*>(info->data())->pwszContainerName));
    }
    EXPECT_EQ(GetLastError(), code(CRYPT_E_NOT_FOUND));
    return state;
}

bool change(Random& numbers, State& state, bool inPlatform) {
    unsigned const choice = numbers() % 12;
    unsigned const number = numbers() % 10 + 1;
    unsigned const value = numbers() % 1000 + 1;
    auto& certificates = state.certificates;
    if (choice < 4) {
        std::string const box = "box" + std::to_string(number);
        auto const found = state.boxes.find(box);
        if (found == state.boxes.end()) {
            state.boxes[box] = 0;
            return !inPlatform || openContainer(box.c_str(), CRYPT_NEWKEYSET);
        }
        if (choice == 0 || (choice == 1 && found->second == 0)) {
            state.boxes.erase(found);
            HCRYPTPROV none = 0;
            return !inPlatform ||
                   CryptAcquireContextA(&none, box.c_str(), MS_ENHANCED_PROV_A, 1, CRYPT_DELETEKEYSET);
        }
        found->second = found->second == 512 ? 1024 : 512;
        return !inPlatform || importKey(box.c_str(), found->second);
    }
    StoreHandle const store = inPlatform ? openStore("MY") : StoreHandle();
    Bytes const encoding = certificateOf(0, number);
    if (!certificates.contains(number)) {
        certificates[number] = {};
        return !inPlatform || add(store, encoding);
    }
    ContextHandle context = inPlatform ? findIn(store, encoding) : ContextHandle();
    if (inPlatform && !context)
        return false;
    if (choice < 6) {
        certificates.erase(number);
        return !inPlatform || CertDeleteCertificateFromStore(context.release());
    }
    if (choice < 8) {
        certificates[number] = {};
        return !inPlatform || add(store, encoding, CERT_STORE_ADD_REPLACE_EXISTING);
    }
    auto& which = choice < 10 ? certificates[number].name : certificates[number].container;
    which = value;
    return !inPlatform || (choice < 10 ? setFriendlyName(context.get(), std::to_wstring(value))
                                       : setKeyInfo(context.get(), std::to_wstring(value)));
}

} // namespace stress

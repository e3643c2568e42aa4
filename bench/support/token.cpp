#include "support/token.h"

#include "support/libcrypto.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace bench {

namespace {

// NSS goes without, as its stores mostly do: with a PIN it derives a key from it at each use of a private
// key, which takes longer than all the rest.
constexpr std::string_view pin = "bench-pin";
constexpr std::string_view officerPin = "bench-officer";

// What its module takes where the published structure ends with a reserved pointer: text before that.
struct NssArguments {
    void* mutexCalls[4];
    CK_FLAGS flags;
    char const* parameters;
    void* reserved;
};

void require(CK_RV result, char const* what) {
    if (result != CKR_OK) {
        char code[32];
        std::snprintf(code, sizeof code, ": error 0x%lx", static_cast<unsigned long>(result));
        throw std::runtime_error(what + std::string(code));
    }
}

CK_UTF8CHAR* textOf(std::string_view text) {
    return reinterpret_cast<CK_UTF8CHAR*>(const_cast<char*>(text.data()));
}

void* libraryOf(std::string const& name) {
    std::vector<char const*> const files =
        name == "SoftHSM" ? std::vector{"/usr/lib/softhsm/libsofthsm2.so", "libsofthsm2.so"}
                          : std::vector{"libsoftokn3.so"};
    for (char const* file : files) {
        if (void* const library = ::dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
            return library; // and it stays
        }
    }
    return nullptr;
}

// The file that the environment names to SoftHSM.
void enterSoftHsm(fs::path const& directory) {
    fs::path const settings = directory / "softhsm.conf";
    fs::path const tokens = directory / "tokens";
    if (!fs::exists(settings)) {
        fs::create_directories(tokens);
        std::ofstream out(settings);
        out << "directories.tokendir = " << tokens.string()
            << "\nobjectstore.backend = file\nlog.level = ERROR\n";
    }
    ::setenv("SOFTHSM2_CONF", settings.c_str(), 1);
}

Bytes nameOf(X509_NAME const* name) {
    unsigned char const* encoding = nullptr;
    std::size_t size = 0;
    requireCrypto(X509_NAME_get0_der(name, &encoding, &size) == 1, "X509_NAME_get0_der");
    return {encoding, encoding + size};
}

} // namespace

// ---- Attributes ----

Attributes& Attributes::add(CK_ATTRIBUTE_TYPE type, Bytes value) {
    entries_.push_back({type, std::move(value)});
    return *this;
}

std::vector<CK_ATTRIBUTE> Attributes::list() {
    std::vector<CK_ATTRIBUTE> all;
    for (Entry& entry : entries_) {
        all.push_back({entry.type, entry.value.data(), static_cast<CK_ULONG>(entry.value.size())});
    }
    return all;
}

Attributes& Attributes::add(CK_ATTRIBUTE_TYPE type, std::string_view text) {
    return add(type, Bytes(text.begin(), text.end()));
}

Attributes& Attributes::add(CK_ATTRIBUTE_TYPE type, CK_ULONG number) {
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&number);
    return add(type, Bytes(bytes, bytes + sizeof number));
}

Attributes& Attributes::addFlag(CK_ATTRIBUTE_TYPE type, bool isSet) {
    return add(type, Bytes{static_cast<std::uint8_t>(isSet ? CK_TRUE : CK_FALSE)});
}

// ---- Token ----

bool Token::isInstalled(std::string const& name) { return libraryOf(name) != nullptr; }

Token::Token(std::string const& name, fs::path const& directory) {
    fs::create_directories(directory);
    void* const library = libraryOf(name);
    auto const list =
        library != nullptr
            ? reinterpret_cast<CK_RV (*)(CK_FUNCTION_LIST**)>(::dlsym(library, "C_GetFunctionList"))
            : nullptr;
    if (list == nullptr) {
        throw std::runtime_error(name + " isn't installed");
    }
    require(list(&calls_), "C_GetFunctionList");
    start(name, directory);
    try {
        setPins(name);
    } catch (...) {
        calls_->C_Finalize(nullptr);
        throw;
    }
}

Token::~Token() { calls_->C_Finalize(nullptr); }

void Token::start(std::string const& name, fs::path const& directory) {
    if (name == "SoftHSM") {
        enterSoftHsm(directory);
        require(calls_->C_Initialize(nullptr), "C_Initialize");
        return;
    }
    std::string const parameters =
        "configdir='sql:" + directory.string() + "' certPrefix='' keyPrefix='' secmod='secmod.db' flags=";
    NssArguments arguments{{}, CKF_OS_LOCKING_OK, parameters.c_str(), nullptr};
    require(calls_->C_Initialize(&arguments), "C_Initialize");
}

// The first slot whose token can be written, if it has to be initialised, then of those.
void Token::choose(bool isInitialised) {
    std::vector<CK_SLOT_ID> slots(16);
    auto count = static_cast<CK_ULONG>(slots.size());
    require(calls_->C_GetSlotList(CK_TRUE, slots.data(), &count), "C_GetSlotList");
    slots.resize(count);
    for (CK_SLOT_ID const slot : slots) {
        CK_TOKEN_INFO info{};
        require(calls_->C_GetTokenInfo(slot, &info), "C_GetTokenInfo");
        bool const fits = !isInitialised || (info.flags & CKF_TOKEN_INITIALIZED) != 0;
        if ((info.flags & CKF_WRITE_PROTECTED) == 0 && fits) {
            slot_ = slot;
            return;
        }
    }
    throw std::runtime_error("there is no token to write to");
}

void Token::setPins(std::string const& name) {
    choose(false);
    CK_TOKEN_INFO info{};
    require(calls_->C_GetTokenInfo(slot_, &info), "C_GetTokenInfo");
    if ((info.flags & CKF_USER_PIN_INITIALIZED) != 0) {
        return;
    }
    std::string_view officer;
    std::string_view user;
    if (name == "SoftHSM") {
        officer = officerPin;
        user = pin;
        std::string label = "bench";
        label.resize(sizeof info.label, ' ');
        require(
            calls_->C_InitToken(slot_, textOf(officer), static_cast<CK_ULONG>(officer.size()), textOf(label)),
            "C_InitToken");
        choose(true);
    }
    CK_SESSION_HANDLE session = 0;
    require(calls_->C_OpenSession(slot_, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session),
            "C_OpenSession");
    require(calls_->C_Login(session, CKU_SO, textOf(officer), static_cast<CK_ULONG>(officer.size())),
            "C_Login as officer");
    require(calls_->C_InitPIN(session, textOf(user), static_cast<CK_ULONG>(user.size())), "C_InitPIN");
    require(calls_->C_Logout(session), "C_Logout");
    require(calls_->C_CloseSession(session), "C_CloseSession");
}

std::string Token::version() const {
    CK_INFO info{};
    require(calls_->C_GetInfo(&info), "C_GetInfo");
    return std::to_string(info.libraryVersion.major) + '.' + std::to_string(info.libraryVersion.minor);
}

// ---- Session ----

TokenSession::TokenSession(Token const& token) : calls_(token.calls()) {
    require(
        calls_.C_OpenSession(token.slot(), CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session_),
        "C_OpenSession");
}

TokenSession::~TokenSession() { calls_.C_CloseSession(session_); }

void TokenSession::logIn() {
    CK_SESSION_INFO session{};
    CK_TOKEN_INFO token{};
    require(calls_.C_GetSessionInfo(session_, &session), "C_GetSessionInfo");
    require(calls_.C_GetTokenInfo(session.slotID, &token), "C_GetTokenInfo");
    if ((token.flags & CKF_LOGIN_REQUIRED) == 0) {
        return;
    }
    require(calls_.C_Login(session_, CKU_USER, textOf(pin), static_cast<CK_ULONG>(pin.size())), "C_Login");
}

CK_OBJECT_HANDLE TokenSession::create(Attributes attributes) {
    CK_OBJECT_HANDLE made = 0;
    require(tryToCreate(attributes, made), "C_CreateObject");
    return made;
}

CK_RV TokenSession::tryToCreate(Attributes& attributes, CK_OBJECT_HANDLE& made) {
    std::vector<CK_ATTRIBUTE> list = attributes.list();
    return calls_.C_CreateObject(session_, list.data(), static_cast<CK_ULONG>(list.size()), &made);
}

void TokenSession::destroy(CK_OBJECT_HANDLE object) {
    require(calls_.C_DestroyObject(session_, object), "C_DestroyObject");
}

std::vector<CK_OBJECT_HANDLE> TokenSession::find(Attributes attributes) {
    std::vector<CK_ATTRIBUTE> list = attributes.list();
    require(calls_.C_FindObjectsInit(session_, list.data(), static_cast<CK_ULONG>(list.size())),
            "C_FindObjectsInit");
    std::vector<CK_OBJECT_HANDLE> found;
    CK_ULONG count = 0;
    do {
        CK_OBJECT_HANDLE some[64];
        require(calls_.C_FindObjects(session_, some, std::size(some), &count), "C_FindObjects");
        found.insert(found.end(), some, some + count);
    } while (count != 0);
    require(calls_.C_FindObjectsFinal(session_), "C_FindObjectsFinal");
    return found;
}

Bytes TokenSession::sign(CK_OBJECT_HANDLE key, Bytes message) {
    CK_MECHANISM mechanism{CKM_SHA1_RSA_PKCS, nullptr, 0};
    require(calls_.C_SignInit(session_, &mechanism, key), "C_SignInit");
    Bytes signature(512);
    auto size = static_cast<CK_ULONG>(signature.size());
    require(calls_.C_Sign(session_, message.data(), static_cast<CK_ULONG>(message.size()), signature.data(),
                          &size),
            "C_Sign");
    signature.resize(size);
    return signature;
}

void TokenSession::verify(CK_OBJECT_HANDLE key, Bytes message, Bytes signature) {
    CK_MECHANISM mechanism{CKM_SHA1_RSA_PKCS, nullptr, 0};
    require(calls_.C_VerifyInit(session_, &mechanism, key), "C_VerifyInit");
    require(calls_.C_Verify(session_, message.data(), static_cast<CK_ULONG>(message.size()), signature.data(),
                            static_cast<CK_ULONG>(signature.size())),
            "C_Verify");
}

Attributes certificateObject(Bytes encoding, std::uint32_t number) {
    unsigned char const* at = encoding.data();
    Crypto<X509> const certificate(d2i_X509(nullptr, &at, static_cast<long>(encoding.size())));
    requireCrypto(certificate != nullptr, "d2i_X509");
    unsigned char* serial = nullptr;
    int const serialSize = i2d_ASN1_INTEGER(X509_get_serialNumber(certificate.get()), &serial);
    requireCrypto(serialSize > 0, "i2d_ASN1_INTEGER");
    Bytes const serialNumber(serial, serial + serialSize);
    OPENSSL_free(serial);
    std::string const label = "certificate " + std::to_string(number);
    Attributes attributes;
    attributes.add(CKA_CLASS, CKO_CERTIFICATE)
        .add(CKA_CERTIFICATE_TYPE, CKC_X_509)
        .addFlag(CKA_TOKEN, true)
        .addFlag(CKA_PRIVATE, false)
        .add(CKA_LABEL, label)
        .add(CKA_ID, label)
        .add(CKA_SUBJECT, nameOf(X509_get_subject_name(certificate.get())))
        .add(CKA_ISSUER, nameOf(X509_get_issuer_name(certificate.get())))
        .add(CKA_SERIAL_NUMBER, serialNumber)
        .add(CKA_VALUE, std::move(encoding));
    return attributes;
}

} // namespace bench

#include "pkcs11_module.h"

#include <p11-kit/p11-kit.h>

#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace wincrypt {
namespace {

struct FreeText {
    void operator()(char* text) const noexcept { std::free(text); }
};

bool holdsTrustAnchors(CK_FUNCTION_LIST* functions) {
    return (p11_kit_module_get_flags(functions) & P11_KIT_MODULE_TRUSTED) != 0;
}

} // namespace

AttributeTemplate& AttributeTemplate::add(CK_ATTRIBUTE_TYPE type, ByteView value) {
    SecureBytes& kept = values_.emplace_back(value.begin(), value.end());
    attributes_.push_back({type, kept.data(), kept.size()});
    return *this;
}

AttributeTemplate& AttributeTemplate::add(CK_ATTRIBUTE_TYPE type, bool value) {
    CK_BBOOL const boolean = value ? CK_TRUE : CK_FALSE;
    return add(type, ByteView(&boolean, sizeof boolean));
}

AttributeTemplate& AttributeTemplate::add(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    return add(type, ByteView(reinterpret_cast<std::uint8_t const*>(&value), sizeof value));
}

std::optional<Pkcs11Module> Pkcs11Module::load(std::string const& name) {
    CK_FUNCTION_LIST** const all = p11_kit_modules_load(nullptr, 0);
    if (all == nullptr) {
        char const* const reason = p11_kit_message();
        throw Pkcs11Failure{CKR_GENERAL_ERROR, reason != nullptr ? reason : "loading the registered modules"};
    }
    std::optional<Pkcs11Module> found;
    for (CK_FUNCTION_LIST** each = all; *each != nullptr; ++each) {
        std::unique_ptr<char, FreeText> const known(p11_kit_module_get_name(*each));
        if (!found && known && name == known.get() && !holdsTrustAnchors(*each))
            found = Pkcs11Module(*each);
        else
            p11_kit_module_release(*each);
    }
    std::free(all);
    return found;
}

void Pkcs11Module::initialise() { check(p11_kit_module_initialize(functions_), "C_Initialize"); }

void Pkcs11Module::finalise() noexcept {
    p11_kit_module_finalize(functions_);
    p11_kit_module_release(functions_);
}

std::vector<CK_SLOT_ID> Pkcs11Module::slotsWithTokens() {
    std::vector<CK_SLOT_ID> slots;
    for (;;) {
        CK_ULONG count = 0;
        check(functions_->C_GetSlotList(CK_TRUE, nullptr, &count), "C_GetSlotList");
        slots.resize(count);
        CK_RV const value = functions_->C_GetSlotList(CK_TRUE, slots.data(), &count);
        if (value == CKR_BUFFER_TOO_SMALL)
            continue; // one was put in meanwhile
        check(value, "C_GetSlotList");
        slots.resize(count);
        return slots;
    }
}

// A token in software can't be read in the moment in which another process writes down its login.
CK_RV Pkcs11Module::readTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO& info) {
    constexpr int tries = 5;
    for (int i = 1;; ++i) {
        CK_RV const value = functions_->C_GetTokenInfo(slot, &info);
        if ((value != CKR_GENERAL_ERROR && value != CKR_FUNCTION_FAILED) || i == tries)
            return value;
        constexpr useconds_t pause = 10'000;
        ::usleep(pause);
    }
}

CK_TOKEN_INFO Pkcs11Module::tokenInfo(CK_SLOT_ID slot) {
    CK_TOKEN_INFO info{};
    check(readTokenInfo(slot, info), "C_GetTokenInfo");
    return info;
}

std::optional<CK_TOKEN_INFO> Pkcs11Module::tokenInfoIfThere(CK_SLOT_ID slot) {
    CK_TOKEN_INFO info{};
    return readTokenInfo(slot, info) == CKR_OK ? std::optional(info) : std::nullopt;
}

bool Pkcs11Module::hasMechanism(CK_SLOT_ID slot, CK_MECHANISM_TYPE mechanism) {
    CK_MECHANISM_INFO info{};
    return functions_->C_GetMechanismInfo(slot, mechanism, &info) == CKR_OK;
}

CK_SESSION_HANDLE Pkcs11Module::openSession(CK_SLOT_ID slot) {
    CK_SESSION_HANDLE session = 0;
    CK_RV const value =
        functions_->C_OpenSession(slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session);
    if (value != CKR_TOKEN_WRITE_PROTECTED) {
        check(value, "C_OpenSession");
        return session;
    }
    check(functions_->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session), "C_OpenSession");
    return session;
}

std::vector<CK_OBJECT_HANDLE> findObjects(Pkcs11Module& module, CK_SESSION_HANDLE session,
                                          AttributeTemplate wanted) {
    check(module->C_FindObjectsInit(session, wanted.data(), wanted.size()), "C_FindObjectsInit");
    constexpr std::size_t mostObjects = 1u << 20;
    std::vector<CK_OBJECT_HANDLE> found;
    CK_OBJECT_HANDLE part[64];
    CK_ULONG count = 0;
    CK_RV value = CKR_OK;
    do {
        value = module->C_FindObjects(session, part, std::size(part), &count);
        // A module that says that it gave more than there is room for, or that never comes to an end.
        if (value == CKR_OK && (count > std::size(part) || found.size() > mostObjects))
            value = CKR_GENERAL_ERROR;
        if (value == CKR_OK)
            found.insert(found.end(), part, part + count);
    } while (value == CKR_OK && count != 0);
    CK_RV const ended = module->C_FindObjectsFinal(session);
    check(value, "C_FindObjects");
    check(ended, "C_FindObjectsFinal");
    return found;
}

std::optional<SecureBytes> attribute(Pkcs11Module& module, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                     CK_ATTRIBUTE_TYPE type) {
    constexpr std::size_t usualSize = 512;
    SecureBytes value(usualSize);
    CK_ATTRIBUTE wanted{type, value.data(), value.size()};
    CK_RV result = module->C_GetAttributeValue(session, object, &wanted, 1);
    if (result == CKR_BUFFER_TOO_SMALL) {
        wanted = {type, nullptr, 0};
        check(module->C_GetAttributeValue(session, object, &wanted, 1), "C_GetAttributeValue");
        constexpr CK_ULONG longest = 1u << 24;
        if (wanted.ulValueLen > longest) // or CK_UNAVAILABLE_INFORMATION
            return std::nullopt;
        value.resize(wanted.ulValueLen);
        wanted.pValue = value.data();
        result = module->C_GetAttributeValue(session, object, &wanted, 1);
    }
    if (result == CKR_ATTRIBUTE_SENSITIVE || result == CKR_ATTRIBUTE_TYPE_INVALID)
        return std::nullopt;
    check(result, "C_GetAttributeValue");
    if (wanted.ulValueLen > value.size())
        return std::nullopt;
    value.resize(wanted.ulValueLen);
    return value;
}

bool booleanAttribute(Pkcs11Module& module, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                      CK_ATTRIBUTE_TYPE type) {
    auto const value = attribute(module, session, object, type);
    return value && value->size() == sizeof(CK_BBOOL) && (*value)[0] != CK_FALSE;
}

} // namespace wincrypt

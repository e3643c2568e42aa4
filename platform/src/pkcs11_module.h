// One PKCS#11 module (version 2.40) of p11-kit's registry, as a token worker uses it: on one thread, one call
// after the other.
#pragma once

#include "bytes.h"
#include "pkcs11_failure.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace wincrypt {

// The attributes that an object is made with or searched by.
class AttributeTemplate {
public:
    AttributeTemplate() = default;
    AttributeTemplate(AttributeTemplate&&) = default; // the attributes point to the values
    AttributeTemplate(AttributeTemplate const&) = delete;
    AttributeTemplate& operator=(AttributeTemplate&&) = default;
    AttributeTemplate& operator=(AttributeTemplate const&) = delete;

    AttributeTemplate& add(CK_ATTRIBUTE_TYPE type, bool value);
    AttributeTemplate& add(CK_ATTRIBUTE_TYPE type, CK_ULONG value);
    AttributeTemplate& add(CK_ATTRIBUTE_TYPE type, ByteView value);

    CK_ATTRIBUTE* data() noexcept { return attributes_.data(); }
    CK_ULONG size() const noexcept { return attributes_.size(); }

private:
    std::vector<CK_ATTRIBUTE> attributes_;
    std::deque<SecureBytes> values_;
};

class Pkcs11Module {
public:
    explicit Pkcs11Module(CK_FUNCTION_LIST* functions) noexcept : functions_(functions) {}

    // Loads the module that the registry has under this name. Nothing when it has none that is enabled here,
    // or when it is one of those that hold trust anchors.
    static std::optional<Pkcs11Module> load(std::string const& name);

    void initialise();
    void finalise() noexcept;

    std::vector<CK_SLOT_ID> slotsWithTokens();
    CK_TOKEN_INFO tokenInfo(CK_SLOT_ID slot);
    std::optional<CK_TOKEN_INFO> tokenInfoIfThere(CK_SLOT_ID slot);
    bool hasMechanism(CK_SLOT_ID slot, CK_MECHANISM_TYPE mechanism);
    CK_SESSION_HANDLE openSession(CK_SLOT_ID slot); // for writing where the token lets us

    CK_FUNCTION_LIST* operator->() const noexcept { return functions_; }

private:
    CK_RV readTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO& info);

    CK_FUNCTION_LIST* functions_;
};

// --- Objects in a session ---

std::vector<CK_OBJECT_HANDLE> findObjects(Pkcs11Module& module, CK_SESSION_HANDLE session,
                                          AttributeTemplate wanted);

// The attribute's value; nothing when the object has none that may be read.
std::optional<SecureBytes> attribute(Pkcs11Module& module, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                     CK_ATTRIBUTE_TYPE type);
bool booleanAttribute(Pkcs11Module& module, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                      CK_ATTRIBUTE_TYPE type);

} // namespace wincrypt

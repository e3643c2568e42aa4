#include "name_encoder.h"

#include "libcrypto_objects.h"

#include <openssl/x509.h>

#include <cctype>
#include <new>

namespace tvkstore {

namespace {

// Names of types have no case (RFC 2253, 2.3), but libcrypto's table does.
CryptoObject<ASN1_OBJECT> typeOf(std::string name) {
    CryptoObject<ASN1_OBJECT> type(OBJ_txt2obj(name.c_str(), 0));
    for (int (*const convert)(int) :
         {static_cast<int (*)(int)>(std::toupper), static_cast<int (*)(int)>(std::tolower)}) {
        if (type == nullptr) {
            for (char& character : name) {
                character = static_cast<char>(convert(static_cast<unsigned char>(character)));
            }
            type.reset(OBJ_txt2obj(name.c_str(), 0));
        }
    }
    takeErrors();
    return type;
}

// `set`: as libcrypto counts, 0 for a new relative name, -1 for the one before.
bool addTo(X509_NAME& name, NameAttribute const& attribute, int set) {
    CryptoObject<ASN1_OBJECT> const type = typeOf(attribute.type);
    if (type == nullptr) {
        return false;
    }
    auto const* const bytes = reinterpret_cast<unsigned char const*>(attribute.value.data());
    auto const length = static_cast<int>(attribute.value.size());
    if (!attribute.isEncoding) {
        // Names compare without regard to the string type; this one has no limits on the length.
        return X509_NAME_add_entry_by_OBJ(&name, type.get(), V_ASN1_UTF8STRING, bytes, length, -1, set) == 1;
    }
    unsigned char const* end = bytes;
    CryptoObject<ASN1_TYPE> const value(d2i_ASN1_TYPE(nullptr, &end, length));
    if (value == nullptr || end != bytes + length) {
        return false;
    }
    switch (ASN1_TYPE_get(value.get())) {
    case V_ASN1_BOOLEAN:
    case V_ASN1_NULL:
    case V_ASN1_OBJECT:
        return false; // not held as strings
    }
    ASN1_STRING const* const string = value->value.asn1_string;
    return X509_NAME_add_entry_by_OBJ(&name, type.get(), ASN1_STRING_type(string),
                                      ASN1_STRING_get0_data(string), ASN1_STRING_length(string), -1,
                                      set) == 1;
}

} // namespace

struct NameEncoder::Name {
    CryptoObject<X509_NAME> object{X509_NAME_new()};
};

NameEncoder::NameEncoder() : name_(std::make_unique<Name>()) {
    if (name_->object == nullptr) {
        throw std::bad_alloc();
    }
}

NameEncoder::~NameEncoder() = default;

bool NameEncoder::add(NameAttribute const& attribute, bool joinsPrevious) {
    bool const added = addTo(*name_->object, attribute, joinsPrevious ? -1 : 0);
    if (!added) {
        takeErrors();
    }
    return added;
}

std::optional<std::string> NameEncoder::finish() {
    unsigned char* bytes = nullptr;
    int const length = i2d_X509_NAME(name_->object.get(), &bytes);
    if (length < 0) {
        takeErrors();
        return std::nullopt;
    }
    std::string encoding(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return encoding;
}

} // namespace tvkstore

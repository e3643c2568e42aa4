#include "certificate_text.h"

#include "libcrypto.h"
#include "properties.h"
#include "text.h"

#include <wincrypt.h>

#include <memory>

namespace wincryptctl {

using namespace wincrypt;

namespace {

struct FreeContext {
    void operator()(CERT_CONTEXT const* context) const noexcept { CertFreeCertificateContext(context); }
};
struct FreeDigits {
    void operator()(char* digits) const noexcept { OPENSSL_free(digits); }
};

} // namespace

std::string subjectText(ByteView encoding) {
    std::unique_ptr<CERT_CONTEXT const, FreeContext> const context(
        CertCreateCertificateContext(X509_ASN_ENCODING, encoding.data(), lengthOf(encoding.size())));
    if (!context)
        return "";
    std::string name(CertGetNameStringA(context.get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, nullptr, 0),
                     '\0');
    CertGetNameStringA(context.get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name.data(),
                       lengthOf(name.size()));
    name.pop_back();
    return name;
}

std::string serialText(ByteView octets) {
    BignumPtr const number(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr));
    BignumPtr const range(BN_new());
    bool const isNegative = !octets.empty() && (octets[0] & 0x80) != 0;
    bool const made = number && range && BN_set_bit(range.get(), static_cast<int>(octets.size() * 8)) == 1 &&
                      (!isNegative || BN_sub(number.get(), number.get(), range.get()) == 1);
    std::unique_ptr<char, FreeDigits> const digits(made ? BN_bn2hex(number.get()) : nullptr);
    if (!digits)
        throw std::bad_alloc();
    return digits.get();
}

std::string friendlyNameText(ByteView stored) {
    Bytes const given = givenFriendlyName(stored);
    std::wstring wide(given.size() / sizeof(wchar_t), L'\0');
    if (!wide.empty())
        std::memcpy(wide.data(), given.data(), wide.size() * sizeof(wchar_t));
    // Up to the terminator, as programs read it.
    return narrow(wide.c_str()).value_or("");
}

} // namespace wincryptctl

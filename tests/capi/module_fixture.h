#pragma once

#include "capimanagerutility.h"
#include "platform_calls.h"
#include "platformhandle.h"
#include "support/scratch_profile.h"
#include "support/test_certificates.h"

#include <tvkcore/kry/tvkkrykey.h>

#include <gtest/gtest.h>

#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace capi_tests {

// A user who has stored nothing. At the end of each test nothing of the layer may be open.
class ModuleTest : public ::testing::Test {
protected:
    void TearDown() override;

    test_support::ScratchProfile profile;
    PlatformCalls& calls = PlatformCalls::instance();
};

// ---- What a test finds in the platform ----

OwnedStore openStore(char const* name);

// A new key container of the software provider with the shared key of this size, exportable, in its exchange
// slot.
OwnedProvider makeContainer(char const* name, unsigned bits = 1024);
bool containerExists(char const* name);

// A certificate of the shared key of 1024 bits, in a store or, with null, in none.
OwnedCertificate certificate(test_support::CertificateFields const& fields, HCERTSTORE store = nullptr);
OwnedCertificate certificate(char const* commonName, HCERTSTORE store = nullptr);

void setKey(PCCERT_CONTEXT cert, std::wstring container, DWORD keySpec = AT_KEYEXCHANGE);

// A container "keys" with an exportable key of 1024 bits, its key handle, a certificate of it in "MY" that
// names it, and a hash.
struct KeyWorld {
    KeyWorld();
    OwnedProvider provider;
    OwnedKey key;
    OwnedStore store;
    OwnedCertificate cert;
    OwnedHash hash;
    TVKBuffer reference; // of the certificate's key
};

template <typename Made>
std::unique_ptr<Made> owned(Made* made) {
    return std::unique_ptr<Made>(made);
}

// ---- Bytes ----

template <typename Structure>
TVKBuffer imageOf(Structure const& structure) {
    return {sizeof structure, reinterpret_cast<unsigned char const*>(&structure)};
}

std::string text(TVKBuffer const& buffer);
TVKBuffer buffer(std::string const& text);
TVKBuffer buffer(test_support::Bytes const& bytes);
test_support::Bytes bytesOf(TVKBuffer const& buffer);
TVKBuffer derOf(PCCERT_CONTEXT cert);
TVKBuffer nameOf(PCCERT_CONTEXT cert); // the subject's
CRYPT_KEY_PROV_INFO infoOf(TVKBuffer const& image);

TVKKRYKey privateKey(TVKKRYKey::Format format, TVKBuffer const& blob);
TVKKRYKey materialOf(unsigned bits); // the shared key of this size

// ---- Failures ----

constexpr char kManagerUtility[] = "./capi/src/capimanagerutility";
constexpr char kCspManager[] = "./capi/src/cspmanager";
constexpr char kCspUtility[] = "./capi/src/cspmanagerutility";

// An exception of the toolkit as its catcher sees it; without a type there was none.
struct Raised {
    std::string type{};
    std::string file{};
    int code = 0;
    std::string message{};
    std::optional<DWORD> systemCode{};

    friend bool operator==(Raised const&, Raised const&) = default;
};
std::ostream& operator<<(std::ostream& out, Raised const& raised);

Raised raisedBy(std::function<void()> const& operation);
Raised capi(char const* file, int code, std::string const& message, std::optional<DWORD> systemCode = {});

} // namespace capi_tests

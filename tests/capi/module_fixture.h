#pragma once

#include "capimanagerutility.h"
#include "cspmanager.h"
#include "cspmanagerutility.h"
#include "platform_calls.h"
#include "platformhandle.h"
#include "support/scratch_profile.h"
#include "support/test_certificates.h"
#include "toolkit/hex.h"

#include <gtest/gtest.h>
#include <wincrypt_layer.h>

namespace capi_tests {

using namespace test_support;

using Capi = CapiManagerUtility;
using Csp = CspManagerUtility;
using Names = std::vector<std::string>;

// A user who has stored nothing. At the end of each test nothing of the layer may be open.
class ModuleTest : public ::testing::Test {
protected:
    void TearDown() override;

    ScratchProfile profile;
    PlatformCalls& calls = PlatformCalls::instance();
};

// ---- What a test finds in the platform ----

OwnedStore openStore(char const* name);

// A new key container of the software provider with the shared key of this size, exportable, in its exchange
// slot.
OwnedProvider makeContainer(char const* name, unsigned bits = 1024);
bool containerExists(char const* name);

// A certificate of the shared key of 1024 bits, in a store or, with null, in none.
OwnedCertificate certificate(CertificateFields const& fields, HCERTSTORE store = nullptr);
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

// A store manager with its factory, and the algorithms with a key of this size in a container that the
// reference names.
struct Factory {
    explicit Factory(unsigned bits = 1024);

    auto signer() const { return owned(factory->make_SHA1WithRSA_SignatureAlgorithm(key)); }
    auto verifier() const { return owned(factory->make_SHA1WithRSA_VerificationAlgorithm(key)); }
    auto encryptor() const { return owned(factory->make_RSAPKCS_EncryptionAlgorithm(key)); }
    auto decryptor() const { return owned(factory->make_RSAPKCS_DecryptionAlgorithm(key, nullptr)); }

    OwnedProvider provider;
    std::unique_ptr<CSPManager> manager = std::make_unique<CSPManager>("", 1);
    std::unique_ptr<TVKKRYAlgorithmFactory> factory{manager->getTVKKRYAlgorithmFactory()};
    TVKKRYKey key;
};

// ---- Bytes ----

template <typename Structure>
TVKBuffer imageOf(Structure const& structure) {
    return {sizeof structure, reinterpret_cast<unsigned char const*>(&structure)};
}

std::string text(TVKBuffer const& buffer);
TVKBuffer buffer(std::string const& text);
TVKBuffer buffer(Bytes const& bytes);
Bytes bytesOf(TVKBuffer const& buffer);
TVKBuffer derOf(PCCERT_CONTEXT cert);
TVKBuffer nameOf(PCCERT_CONTEXT cert); // the subject's
CRYPT_KEY_PROV_INFO infoOf(TVKBuffer const& image);

TVKKRYKey privateKey(TVKKRYKey::Format format, TVKBuffer const& blob);
TVKKRYKey materialOf(unsigned bits); // the shared key of this size

// The attribute that searches by a label take.
struct Label : TVKASNUTF8String {
    explicit Label(std::string const& text);
};

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

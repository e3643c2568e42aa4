// Tokens of SoftHSM as providers; filled and looked at by pkcs11-tool.
#include "support/run_program.h"
#include "token_fixture.h"

#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <numeric>
#include <regex>

using namespace layer_test;

namespace {

class Tokens : public TokenTest {
protected:
    Tokens() { tokens.setModule(tokens.softHsm); }

    ProviderHandle withKey(char const* container, DWORD flags = 0) {
        ProviderHandle provider;
        HCRYPTKEY key = 0;
        EXPECT_EQ(acquire(provider, label, container, CRYPT_NEWKEYSET), 0u);
        EXPECT_TRUE(CryptGenKey(provider.get(), AT_KEYEXCHANGE, 1024u << 16 | flags, &key));
        return provider;
    }

    // Kind and label of each object that another program sees, in their order.
    std::string listed() const {
        std::string const output = tokens.tool(label, {"pkcs11-tool", "--list-objects"});
        std::regex const object("(\\w+) [^\n]*Object;[^\n]*\n +label: +(\\w+)");
        std::set<std::string> objects;
        for (std::sregex_iterator each(output.begin(), output.end(), object), end; each != end; ++each)
            objects.insert((*each)[1].str() + ' ' + (*each)[2].str());
        return std::accumulate(objects.begin(), objects.end(), std::string(),
                               [](auto const& text, auto const& each) { return text + each + ", "; });
    }
};

TEST_F(Tokens, TheWholeStoryOfAKey) {
    EXPECT_EQ(acquire(nullptr), code(NTE_KEYSET_NOT_DEF)) << "no key, no default container";
    ProviderHandle provider = withKey("story");
    EXPECT_EQ(parameter(provider, PP_NAME), label);
    EXPECT_EQ(sign(provider), 0u);

    BYTE name[] = {0x30, 0x0C, 0x31, 0x0A, 0x30, 0x08, 6, 3, 0x55, 4, 3, 0x0C, 1, 'x'};
    CERT_NAME_BLOB subject{sizeof name, name};
    ContextHandle const made(CertCreateSelfSignCertificate(provider.get(), &subject, 0, nullptr, nullptr,
                                                           nullptr, nullptr, nullptr));
    ASSERT_TRUE(made);
    HCRYPTKEY const key = userKey(provider);
    for (int round = 0; round < 2; ++round) // the second one takes the first one's place
        ASSERT_TRUE(CryptSetKeyParam(key, KP_CERTIFICATE, made.get()->pbCertEncoded, 0));
    EXPECT_EQ(listed(), "Certificate story, Private story, Public story, ") << "what other programs see";
    Bytes read(made.get()->cbCertEncoded);
    auto size = sizeOf(read);
    ASSERT_TRUE(CryptGetKeyParam(key, KP_CERTIFICATE, read.data(), &size, 0));
    EXPECT_EQ(read, encodingOf(made.get()));
    ProviderHandle opened;
    ASSERT_TRUE(CryptAcquireCertificatePrivateKey(made.get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG, nullptr,
                                                  opened.address(), nullptr, nullptr));
    EXPECT_EQ(parameter(opened, PP_NAME), label) << "no other provider takes its place";
    EXPECT_EQ(sign(opened), 0u);

    Bytes block(128, 0x5A);
    size = 100;
    ASSERT_TRUE(CryptEncrypt(key, 0, TRUE, 0, block.data(), &size, 128));
    Bytes damaged = block;
    ASSERT_TRUE(CryptDecrypt(key, 0, TRUE, 0, block.data(), &size));
    EXPECT_EQ(firstOf(block, size), Bytes(100, 0x5A));
    for (BYTE const highest : {BYTE{0}, BYTE{0xFF}}) { // another padding, and above the modulus
        damaged.back() = highest;
        size = 128;
        EXPECT_EQ(errorOf(CryptDecrypt, key, 0u, TRUE, 0u, Bytes(damaged).data(), &size), code(NTE_BAD_DATA));
    }
    Bytes random(5000);
    EXPECT_TRUE(CryptGenRandom(provider.get(), 5000, random.data()));
    EXPECT_GT(std::set<BYTE>(random.end() - 1000, random.end()).size(), 200u);
    char objectId[] = szOID_RSA_RSA;
    auto const exported = [&](ProviderHandle const& handle) {
        return errorOf(CryptExportPKCS8, handle.get(), AT_KEYEXCHANGE, objectId, 0u, nullptr, nullptr, &size);
    };
    EXPECT_EQ(exported(provider), code(NTE_BAD_KEY_STATE));
    EXPECT_EQ(exported(withKey("leaves", CRYPT_EXPORTABLE)), 0u);
    EXPECT_EQ(acquire("story", CRYPT_NEWKEYSET), code(NTE_EXISTS));
    for (char const* each : {"story", "leaves"})
        EXPECT_EQ(acquire(each, CRYPT_DELETEKEYSET), 0u);
    EXPECT_EQ(listed(), "") << "with public key and certificate";
    EXPECT_EQ(sign(provider), code(NTE_NO_KEY));
}

TEST_F(Tokens, FilledByAnotherProgram) {
    Bytes const encoding = certificate(1);
    std::string const der = profile.file("der");
    std::ofstream(der, std::ios::binary) << std::string(encoding.begin(), encoding.end());
    auto const addCertificate = [&](char const* id) {
        tokens.tool(label,
                    {"pkcs11-tool", "--write-object", der, "--type", "cert", "--id", id, "--label", "x"});
    };
    DWORD const missing = code(NTE_NO_KEY);
    DWORD const bare = code(NTE_NOT_FOUND);
    // What reading the certificate of the exchange key gives, and that of the signature key.
    std::tuple<char const*, std::function<void()>, DWORD, DWORD> const rows[] = {
        {"a signature key only", [&] { makeKey("05", "--mark-sign"); }, missing, bare},
        {"with a certificate", [&] { addCertificate("05"); }, missing, 0},
        {"an exchange key under the same label", [&] { makeKey("03", "--mark-decrypt"); }, bare, 0},
        {"the same certificate on both", [&] { addCertificate("03"); }, 0, 0},
    };
    ProviderHandle provider;
    for (auto const& [why, fill, atExchange, atSignature] : rows) {
        SCOPED_TRACE(why);
        fill();
        ASSERT_EQ(acquire(provider, label), 0u);
        EXPECT_EQ(parameter(provider, PP_CONTAINER), "card");
        for (DWORD const slot : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
            HCRYPTKEY key = 0;
            DWORD size = 0;
            DWORD const error = errorOfCall([&] {
                return CryptGetUserKey(provider.get(), slot, &key) &&
                       CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &size, 0);
            });
            EXPECT_EQ(error, slot == AT_KEYEXCHANGE ? atExchange : atSignature) << slot;
            EXPECT_EQ(size, error == 0 ? encoding.size() : 0u);
        }
        EXPECT_EQ(sign(provider, AT_SIGNATURE), 0u);
    }
    makeKey("01", "--mark-decrypt", "earlier");
    tokens.tool(label, {"pkcs11-tool", "--delete-object", "--type", "pubkey", "--id", "05"});
    ASSERT_EQ(acquire(provider, label), 0u);
    EXPECT_EQ(parameter(provider, PP_CONTAINER), "earlier") << "the first by its identifier is the default";
    ASSERT_EQ(acquire(provider, label, "card"), 0u);
    EXPECT_EQ(sign(provider, AT_SIGNATURE), 0u) << "a public half isn't needed";
    EXPECT_EQ(acquire("card", CRYPT_DELETEKEYSET), 0u);
    EXPECT_EQ(listed(), "Private earlier, Public earlier, ");
    EXPECT_THROW(tokens.tool("somebody's", {"pkcs11-tool", "--list-objects"}), std::invalid_argument);
}

TEST_F(Tokens, AreFoundByNameAndByUri) {
    std::string const twin = tokens.add();
    tokens.add(twin);
    std::string const uri = tokens.uriOf(label);
    auto const pin = tokens.folder() / "pin";
    ProviderHandle provider = withKey("k");
    DWORD const unknown = code(SCARD_E_NO_SMARTCARD);
    std::pair<std::string, DWORD> const rows[] = {
        {uri + ";manufacturer=SoftHSM%20project;object=k?pin-source=" + pin.string(), 0},
        {uri + ";serial=none", unknown},
        {uri + "%2", unknown},
        {uri + ";token=twice", unknown},
        {"pkcs11:", unknown},
        {twin, code(NTE_KEYSET_NOT_DEF)},
        {label + "x", code(NTE_KEYSET_NOT_DEF)},
    };
    for (auto const& [name, expected] : rows)
        EXPECT_EQ(acquire(provider, name), expected) << name;
    provider.reset();
    char name[128];
    DWORD type = 0;
    std::vector<std::string> named;
    for (DWORD i = 0, size = 128; CryptEnumProvidersA(i, nullptr, 0, &type, name, &size); ++i, size = 128)
        named.emplace_back(name);
    EXPECT_EQ(named.front(), MS_ENHANCED_PROV_A);
    EXPECT_EQ(std::count(named.begin(), named.end(), label), 1);
    auto const isTwin = [&](auto const& each) { return each.starts_with(twin + ' '); };
    EXPECT_EQ(std::count_if(named.begin(), named.end(), isTwin), 2)
        << "tokens with one label are told apart by their serial numbers";
}

TEST_F(Tokens, ServedByAnotherProcess) {
    ASSERT_TRUE(inChild([&] { return static_cast<bool>(withKey("far")); })) << "known to another process";
    std::string const socket = tokens.folder() / "socket";
    std::string const started = runProgram({{"p11-kit", "server", "--provider", tokens.softHsm, "--name",
                                             socket, tokens.uriOf(label)}})
                                    .output;
    auto const waitUntilThere = [&](bool wanted) {
        for (int tries = 0; tries < 200 && std::filesystem::exists(socket) != wanted; ++tries)
            ::usleep(50'000);
    };
    waitUntilThere(true);
    EnvironmentVariable const address("P11_KIT_SERVER_ADDRESS", "unix:path=" + socket);
    tokens.setModule("p11-kit-client.so");
    EXPECT_EQ(signWithDefault(), 0u);
    std::smatch process;
    ASSERT_TRUE(std::regex_search(started, process, std::regex("SERVER_PID=(\\d+)")));
    EXPECT_EQ(::kill(std::stoi(process[1]), SIGTERM), 0);
    waitUntilThere(false); // it removes the socket by itself
}

} // namespace

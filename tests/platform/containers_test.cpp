// Providers, key containers and what lies in them.
#include "layer_fixture.h"

#include <cstring>
#include <fstream>

using namespace layer_test;

namespace {

class Containers : public LayerTest {};

DWORD acquire(char const* container, DWORD flags, char const* provider = MS_ENHANCED_PROV_A,
              DWORD type = PROV_RSA_FULL) {
    ProviderHandle handle;
    return errorOf(CryptAcquireContextA, handle.address(), container, provider, type, flags);
}

TEST_F(Containers, AcquisitionAnswersWithThePublishedErrors) {
    constexpr char ours[] = MS_ENHANCED_PROV_A;
    constexpr DWORD newAndDelete = CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET;
    newContainer("present");
    std::tuple<char const*, DWORD, char const*, DWORD, DWORD, char const*> const rows[] = {
        {"present", 0, ours, 1, 0, "an existing container opens"},
        {"present", 0, nullptr, 1, 0, "no provider name is the first provider"},
        {"absent", 0, ours, 1, code(NTE_BAD_KEYSET), "opening makes nothing"},
        {"present", CRYPT_NEWKEYSET, ours, 1, code(NTE_EXISTS), "no container is replaced"},
        {nullptr, CRYPT_NEWKEYSET, ours, 1, code(NTE_EXISTS), "the default one always exists"},
        {"absent", CRYPT_DELETEKEYSET, ours, 1, code(NTE_BAD_KEYSET), "nothing to delete"},
        {"present", 0, "Unknown Provider", 1, code(NTE_KEYSET_NOT_DEF), "unknown provider"},
        {"present", 0, ours, 0, code(NTE_BAD_PROV_TYPE), "type out of range"},
        {"present", 0, nullptr, 24, code(NTE_PROV_TYPE_NOT_DEF), "no provider of this type"},
        {"present", 0, ours, 24, code(NTE_PROV_TYPE_NO_MATCH), "name and type differ"},
        {"present", 0x400, ours, 1, code(NTE_BAD_FLAGS), "unknown flag"},
        {"present", newAndDelete, nullptr, 1, code(NTE_BAD_FLAGS), "flags that exclude"},
        {"\xFF", CRYPT_NEWKEYSET, nullptr, 1, code(NTE_BAD_KEYSET_PARAM), "a name that is no text"},
        {"present", CRYPT_MACHINE_KEYSET, nullptr, 1, code(NTE_BAD_KEYSET), "the machine has its own"},
    };
    for (auto const& [container, flags, provider, type, expected, why] : rows) {
        SCOPED_TRACE(why);
        EXPECT_EQ(acquire(container, flags, provider, type), expected);
    }
}

TEST_F(Containers, OpeningTheDefaultContainerWritesNothing) {
    ProviderHandle const provider = openContainer(nullptr);
    ASSERT_TRUE(provider);
    std::string const name = parameter(provider, PP_CONTAINER);
    EXPECT_FALSE(name.empty());
    EXPECT_TRUE(openContainer(name.c_str())) << "it bears its name";
    HCRYPTKEY key = 0;
    EXPECT_EQ(errorOf(CryptGetUserKey, provider.get(), AT_KEYEXCHANGE, &key), code(NTE_NO_KEY));
    EXPECT_FALSE(std::filesystem::exists(userDatabase()));

    ASSERT_TRUE(CryptGenKey(provider.get(), AT_SIGNATURE, 512u << 16, &key));
    EXPECT_NE(userKey(openContainer(nullptr), AT_SIGNATURE), 0u) << "now it is stored";
}

TEST_F(Containers, EnumeratedProvidersAreNamedAsTheirHandlesSay) {
    DWORD type = 0;
    DWORD size = 0;
    ASSERT_TRUE(CryptEnumProvidersA(0, nullptr, 0, &type, nullptr, &size));
    std::string name(size, '?');
    EXPECT_EQ(name.size(), std::strlen(MS_ENHANCED_PROV_A) + 1) << "the terminator counts";
    ASSERT_TRUE(CryptEnumProvidersA(0, nullptr, 0, &type, name.data(), &size));
    EXPECT_EQ(type, DWORD{PROV_RSA_FULL});
    EXPECT_EQ(name.c_str(), parameter(openContainer(nullptr), PP_NAME));
    --size;
    EXPECT_EQ(errorOf(CryptEnumProvidersA, 0, nullptr, 0, &type, name.data(), &size), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(errorOf(CryptEnumProvidersA, 1, nullptr, 0, &type, nullptr, &size), DWORD{ERROR_NO_MORE_ITEMS});
}

TEST_F(Containers, NamesOfAnyTextAreListedAndGoWithTheirContainer) {
    std::vector<std::string> const names = {"a\nb", "plain", "s p a c e", "\xC3\xA9"};
    for (std::string const& name : names)
        ASSERT_TRUE(openContainer(name.c_str(), CRYPT_NEWKEYSET)) << name;
    EXPECT_EQ(containerNames(), names);
    EXPECT_EQ(acquire("plain", CRYPT_DELETEKEYSET), 0u);
    EXPECT_EQ(acquire("plain", 0), code(NTE_BAD_KEYSET));
    EXPECT_EQ(acquire("s p a c e", 0), 0u) << "another one stays";
}

TEST_F(Containers, KeyLengthsAndFlagsOfGeneration) {
    ProviderHandle const provider = openContainer("generation", CRYPT_NEWKEYSET);
    std::tuple<ALG_ID, DWORD, DWORD, DWORD, DWORD> const rows[] = {
        {AT_KEYEXCHANGE, 0x02000001, 0, 512, AT_KEYEXCHANGE},
        {CALG_RSA_SIGN, 0x04000000, 0, 1024, AT_SIGNATURE},
        {AT_KEYEXCHANGE, CRYPT_EXPORTABLE, 0, 2048, AT_KEYEXCHANGE},
        {CALG_MD5, 0, code(NTE_BAD_ALGID), 0, 0},
        {AT_KEYEXCHANGE, 511u << 16, code(NTE_BAD_FLAGS), 0, 0},
        {AT_KEYEXCHANGE, 2, code(NTE_BAD_FLAGS), 0, 0},
    };
    for (auto const& [algorithm, flags, expected, bits, slot] : rows) {
        SCOPED_TRACE(flags);
        HCRYPTKEY key = 0;
        ASSERT_EQ(errorOf(CryptGenKey, provider.get(), algorithm, flags, &key), expected);
        if (expected != 0)
            continue;
        DWORD actual = 0;
        DWORD length = sizeof actual;
        ASSERT_NE(userKey(openContainer("generation"), slot), 0u) << "it lies in its slot";
        ASSERT_TRUE(CryptGetKeyParam(key, KP_KEYLEN, reinterpret_cast<BYTE*>(&actual), &length, 0));
        EXPECT_EQ(actual, bits);
    }
}

TEST_F(Containers, ACertificateLiesWithItsKey) {
    ProviderHandle const provider = newContainer("card");
    HCRYPTKEY const key = userKey(provider);
    DWORD length = 0;
    EXPECT_EQ(errorOf(CryptGetKeyParam, key, KP_CERTIFICATE, nullptr, &length, 0), code(NTE_NOT_FOUND));
    EXPECT_EQ(length, 0u) << "who doesn't look at the result reads no bytes";

    Bytes longer = certificate(1); // what stands behind the certificate isn't part of it
    longer.resize(longer.size() + 8, 0xEE);
    ASSERT_TRUE(CryptSetKeyParam(key, KP_CERTIFICATE, longer.data(), 0));
    ASSERT_TRUE(CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &length, 0));
    Bytes read(length);
    ASSERT_TRUE(CryptGetKeyParam(key, KP_CERTIFICATE, read.data(), &length, 0));
    EXPECT_EQ(read, certificate(1));
    Bytes const notOne = {0x30, 0x02, 0x05, 0x00};
    EXPECT_EQ(errorOf(CryptSetKeyParam, key, KP_CERTIFICATE, notOne.data(), 0), code(NTE_BAD_DATA));
}

// --- Sealing ---

TEST_F(Containers, AKeyThatWasEditedOrMovedDoesNotOpen) {
    char const* const edits[] = {
        "UPDATE key SET flags = 1 - flags WHERE container = 1",
        "UPDATE key SET slot = 2 WHERE container = 1",
        "UPDATE key SET sealed = zeroblob(length(sealed)) WHERE container = 1",
        "UPDATE key SET nonce = zeroblob(12) WHERE container = 1",
        "UPDATE key SET sealed = x'' WHERE container = 1",
        "UPDATE key SET (nonce, sealed) = (SELECT nonce, sealed FROM key WHERE container = 2) WHERE "
        "container = 1",
    };
    newContainer("first", 512);
    newContainer("second", 512);
    sql(userDatabase(), "CREATE TABLE saved AS SELECT * FROM key");
    for (char const* edit : edits) {
        SCOPED_TRACE(edit);
        EXPECT_EQ(acquire("first", 0), 0u); // known to the process when it is edited
        sql(userDatabase(), edit);
        EXPECT_EQ(acquire("first", 0), code(NTE_KEYSET_ENTRY_BAD));
        EXPECT_EQ(acquire("second", 0), 0u) << "the others are untouched";
        sql(userDatabase(), "DELETE FROM key; INSERT INTO key SELECT * FROM saved");
    }
    EXPECT_EQ(acquire("first", CRYPT_DELETEKEYSET), 0u);
}

TEST_F(Containers, TheSealingKeyIsAFileOfItsOwnOrACredential) {
    // Made by other processes, so that this one has to open what they sealed.
    auto const makeElsewhere = [](char const* name) {
        return inChild([&] { return static_cast<bool>(newContainer(name, 512)); });
    };
    ASSERT_TRUE(makeElsewhere("filed"));
    auto const keyFile = profile.userHome() / "sealing.key";
    EXPECT_EQ(std::filesystem::file_size(keyFile), 32u);
    EXPECT_EQ(std::filesystem::status(keyFile).permissions(), std::filesystem::perms(0600));

    std::filesystem::create_directory(profile.file("credentials"));
    std::ofstream(profile.file("credentials") / "wincrypt-key") << "a secret of at least thirty-two letters";
    {
        EnvironmentVariable const credentials("CREDENTIALS_DIRECTORY", profile.file("credentials").string());
        EXPECT_EQ(acquire("filed", 0), 0u) << "what the file sealed, the file opens";
        ASSERT_TRUE(makeElsewhere("credential"));
    }
    EXPECT_EQ(acquire("credential", 0), code(NTE_KEYSET_ENTRY_BAD)) << "its sealing key isn't there";
    sql(userDatabase(), "PRAGMA wal_checkpoint(TRUNCATE)");
    EXPECT_EQ(readWhole(userDatabase()).find(std::string("\x02\x01\x00\x02\x41", 5)), std::string::npos)
        << "version and modulus of a 512 bit key in clear";
}

} // namespace

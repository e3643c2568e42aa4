#include "capiglobal.h"
#include "module_fixture.h"

#include <cstring>

using namespace capi_tests;

namespace {

using Providers = ModuleTest;

std::string errorText(DWORD value) {
    static std::map<DWORD, std::string> const known = {
        {8, "The operating system ran out of memory"},
        {87, "One of the parameters contains an invalid value"},
        {170, "the CRYPT_DELETEKEYSET flag value is set and another thread or process is using this key "
              "container"},
        {234, "buffer was not large enough to hold the data"},
        {0x80090006, "The provider DLL signature could not be verified"},
        {0x80090009, "The dwFlags parameter has an invalid value."},
        {0x8009000E, "The CSP ran out of memory during the operation."},
        {0x8009000F, "the dwFlags parameter is CRYPT_NEWKEYSET but the key container already exists"},
        {0x80090014, "The value of the dwProvType parameter is out of range."},
        {0x80090016, "The key container not be opened or does not exist."},
        {0x80090017, "No entry exists for the provider type specified by dwProvType."},
        {0x80090018, "The provider type specified by dwProvType is corrupt."},
        {0x80090019, "The key container specifed by pszContainer does not exist or the requested provider "
                     "does not exist"},
        {0x8009001A, "the pszContainer key container was found but is corrupt."},
        {0x8009001B, "The provider type specified by dwProvType does not match the provider type found."},
        {0x8009001C, "An error occured while loading the DLL file image, prior to verifying its signature"},
        {0x8009001D, "The provider DLL file could not be loaded or failed to initialize."},
        {0x8009001E, "The provider DLL file does not exist or is not on the current path."},
        {0x8009001F, "The pszContainer or pszProvider parameter is set to an invalid value"},
    };
    if (auto const found = known.find(value); found != known.end())
        return found->second;
    std::ostringstream text;
    text << "An error occured in running Microsft Crypto API with return values rc=0x" << std::hex << value;
    return text.str();
}

} // namespace

TEST_F(Providers, ErrorTextsForEveryValueAroundTheKnownOnes) {
    for (DWORD const first : {0U, 0x80090000U}) {
        for (DWORD value = first; value < first + 300; ++value) {
            SetLastError(value);
            EXPECT_EQ(Capi::HandleError().c_str(), errorText(value));
            EXPECT_EQ(GetLastError(), value);
        }
    }
}

TEST_F(Providers, ListKeepsThePlatformsOrderAndEqualNames) {
    // The types of the announced ones are 1, 2, and so on; calls are counted from 1.
    std::tuple<char const*, Names, unsigned, Names> const rows[] = {
        {"none", {}, 99, {}},
        {"not sorted, not filtered by type", {"B", "A"}, 99, {"1 B", "2 A"}},
        {"equal names stay two", {"B", "B"}, 99, {"1 B", "2 B"}},
        {"a probe that fails ends it quietly", {"B", "A"}, 3, {"1 B"}},
        {"a fetch that fails takes the list with it", {"B", "A"}, 4, {errorText(ERROR_BUSY)}},
    };
    for (auto const& [why, announced, failsFrom, expected] : rows) {
        SCOPED_TRACE(why);
        auto const announce = [names = announced, last = failsFrom, call = 0U](DWORD index, DWORD*, DWORD,
                                                                               DWORD* type, LPSTR name,
                                                                               DWORD* size) mutable -> BOOL {
            SetLastError(ERROR_BUSY);
            if (++call >= last || index >= names.size())
                return FALSE;
            *type = index + 1;
            *size = static_cast<DWORD>(names[index].size() + 1);
            if (name != nullptr)
                std::memcpy(name, names[index].c_str(), *size);
            return TRUE;
        };
        calls.answer(CryptEnumProvidersA, announce);
        Names names;
        Raised const raised = raisedBy([&] {
            std::unique_ptr<CSPEntryContainer> const list(Capi::enumProviders());
            EXPECT_EQ(list->ownership, TVKOwnershipOwned);
            for (CSPEntry const* entry : *list)
                names.push_back(std::to_string(entry->type) + ' ' + entry->name);
        });
        EXPECT_EQ(raised.code == 578002 ? Names{raised.message} : names, expected);
    }
}

TEST_F(Providers, CopiesOfTheManagerShareOneListThatGoesWithTheLast) {
    for (bool const originalGoesFirst : {true, false}) {
        auto manager = owned(static_cast<TVKCAPIManager*>(libraryFunction(nullptr)));
        auto copy = owned(manager->duplicate());
        EXPECT_EQ(copy->getCspNameList(), manager->getCspNameList());
        (originalGoesFirst ? manager : copy).reset();
        TVKCAPIManager& last = *(originalGoesFirst ? copy : manager);
        ASSERT_EQ(last.getCspCount(), last.getCspNameList()->size());
        EXPECT_STREQ((*last.getCspNameList()->begin())->name, MS_ENHANCED_PROV_A);
    }
}

TEST_F(Providers, ASystemIsAskedForVersion5ServicePack2) {
    calls.answer(VerifyVersionInfoA, [&](OSVERSIONINFOEXA* version, DWORD mask, DWORDLONG condition) {
        EXPECT_EQ(version->dwOSVersionInfoSize, 156U);
        EXPECT_EQ(version->dwMajorVersion, 5U);
        EXPECT_EQ(version->dwMinorVersion, 0U);
        EXPECT_EQ(version->wServicePackMajor, 2U);
        EXPECT_EQ(mask, 35U);
        return VerifyVersionInfoA(version, mask, condition);
    });
    delete static_cast<TVKCAPIManager*>(libraryFunction(&calls));
    EXPECT_EQ(calls.arguments(VerSetConditionMask).size(), 3U);
    EXPECT_EQ(calls.names().at(3), "VerifyVersionInfoA");
}

TEST_F(Providers, AContainerThatIsMissingIsMadeAtTheSecondAttempt) {
    // The errors are those of the attempts; 0 lets one through.
    std::tuple<char const*, std::vector<long>, DWORD, std::vector<DWORD>> const rows[] = {
        {"at once", {0}, 0, {0}},
        {"made anew, the flags replaced, not joined", {NTE_BAD_KEYSET, 0}, CRYPT_MACHINE_KEYSET, {0x20, 8}},
        {"no third attempt", {NTE_BAD_KEYSET, NTE_BAD_KEYSET, 0}, 0, {0, 8}},
        {"another error ends it", {NTE_KEYSET_NOT_DEF, 0}, 0, {0}},
    };
    for (auto const& [why, errors, flags, expected] : rows) {
        SCOPED_TRACE(why);
        std::vector<DWORD> attempted;
        auto const attempt = [&, results = errors](HCRYPTPROV* provider, LPCSTR, LPCSTR, DWORD,
                                                   DWORD asked) -> BOOL {
            *provider = 99;
            attempted.push_back(asked);
            SetLastError(static_cast<DWORD>(results.at(attempted.size() - 1)));
            return GetLastError() == 0;
        };
        calls.answer(CryptAcquireContextA, attempt);
        HCRYPTPROV provider = 7;
        bool const opened = Capi::getCSPHandle(&provider, "c", "p", 24, flags);
        EXPECT_EQ(attempted, expected);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(errors.at(attempted.size() - 1)));
        EXPECT_EQ(opened, GetLastError() == 0);
        EXPECT_EQ(provider, opened ? 99U : 7U) << "left alone on failure";
        EXPECT_EQ(calls.arguments(CryptAcquireContextA).back().substr(0, 18), "set, \"c\", \"p\", 18,");
    }
}

TEST_F(Providers, ParametersAreAssignedOnlyWhenRead) {
    KeyWorld const world;
    constexpr DWORD unknown = 9999;
    TVKString name("before");
    EXPECT_FALSE(Capi::getProvParam(world.provider.get(), unknown, name));
    EXPECT_EQ(name.view(), "before");
    auto const noSize = [](HCRYPTPROV, DWORD, BYTE*, DWORD* size, DWORD) {
        *size = 100;
        return FALSE;
    };
    calls.answer(CryptGetProvParam, noSize, 1);
    EXPECT_FALSE(Capi::getProvParam(world.provider.get(), PP_NAME, name)) << "shows that the query failed";
    EXPECT_EQ(name.view(), MS_ENHANCED_PROV_A);

    TVKBuffer value = buffer("before");
    EXPECT_FALSE(Capi::getKeyParam(world.key.get(), unknown, value));
    EXPECT_EQ(text(value), "before");
    ASSERT_TRUE(CryptSetKeyParam(world.key.get(), KP_CERTIFICATE, world.cert.get()->pbCertEncoded, 0));
    EXPECT_TRUE(Capi::getKeyParam(world.key.get(), KP_CERTIFICATE, value));
    EXPECT_EQ(value.compare(derOf(world.cert.get())), 0);
}

TEST_F(Providers, CertificatesAreComparedWithProviderAndName) {
    KeyWorld const world;
    OwnedCertificate const keyless = certificate("Bob");
    TVKBuffer const image = imageOf(world.cert.get()->pCertInfo->Subject);
    EXPECT_TRUE(Capi::compareCSPName(MS_ENHANCED_PROV_A, world.cert.get()));
    EXPECT_FALSE(Capi::compareCSPName(MS_ENHANCED_PROV_A, keyless.get()));
    for (char const* name : {"microsoft enhanced cryptographic provider v1.0", "Microsoft", "\xFF"})
        EXPECT_FALSE(Capi::compareCSPName(name, world.cert.get())) << name;
    EXPECT_TRUE(Capi::compareSubjetNameBlob(world.cert.get(), image));
    EXPECT_FALSE(Capi::compareSubjetNameBlob(keyless.get(), image));
    EXPECT_FALSE(Capi::compareSubjetNameBlob(world.cert.get(), buffer("four"))) << "no image";
}

TEST_F(Providers, TheStoreNamesItsProviderAndItsContainer) {
    constexpr char standard[] = MS_ENHANCED_PROV_A;
    std::tuple<char const*, unsigned long, std::string> const rows[] = {
        {"", 1, standard}, {standard, 1, standard}, {"Other", 2, "Other"}};
    for (auto const& [name, kind, reported] : rows) {
        SCOPED_TRACE(name);
        CSPManager manager(name, kind);
        EXPECT_EQ(manager.getCSPName().view(), reported);
        EXPECT_EQ(s_cspName.view(), reported);
        EXPECT_EQ(s_containerName, manager.getKeyContainerName(manager.gethCryptProv()));
        EXPECT_NE(s_containerName.size(), 0U);
        EXPECT_EQ(calls.arguments(CryptAcquireContextA).back(), "set, 0, \"" MS_ENHANCED_PROV_A "\", 1, 0")
            << "the default provider, whatever the name";
    }
}

TEST_F(Providers, CopiesOfTheStoreShareOneStateThatGoesWithTheLast) {
    for (bool const originalGoesFirst : {true, false}) {
        auto manager = owned<TVKCspManager>(new CSPManager("", 1));
        auto copy = owned(manager->duplicate());
        OwnedCertificate const cert = certificate("Alice", manager->getSystemStore());
        manager->setCurrentCertificate(cert.get());
        EXPECT_EQ(copy->getCurrentCertificate(), cert.get());
        EXPECT_EQ(copy->getSystemStore(), manager->getSystemStore());
        EXPECT_EQ(copy->gethCryptProv(), manager->gethCryptProv());
        calls.forget();
        (originalGoesFirst ? manager : copy).reset();
        EXPECT_EQ(calls.names().size(), 0U) << "the other still uses everything";
        manager.reset();
        copy.reset();
        EXPECT_EQ(calls.names(), (Names{"CryptReleaseContext", "CertCloseStore"}));
    }
}

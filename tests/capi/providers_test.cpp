#include "capiglobal.h"
#include "capimanager.h"
#include "cspmanager.h"
#include "module_fixture.h"

#include <tvkcore/base/tvklibrarymanager.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sstream>
#include <vector>

using namespace capi_tests;

namespace {

using Providers = ModuleTest;

struct KnownError {
    DWORD value;
    char const* text;
};

constexpr KnownError kKnownErrors[] = {
    {8, "The operating system ran out of memory"},
    {87, "One of the parameters contains an invalid value"},
    {170,
     "the CRYPT_DELETEKEYSET flag value is set and another thread or process is using this key container"},
    {234, "buffer was not large enough to hold the data"},
    {0x80090006, "The provider DLL signature could not be verified"},
    {0x80090009, "The dwFlags parameter has an invalid value."},
    {0x8009000E, "The CSP ran out of memory during the operation."},
    {0x8009000F, "the dwFlags parameter is CRYPT_NEWKEYSET but the key container already exists"},
    {0x80090014, "The value of the dwProvType parameter is out of range."},
    {0x80090016, "The key container not be opened or does not exist."},
    {0x80090017, "No entry exists for the provider type specified by dwProvType."},
    {0x80090018, "The provider type specified by dwProvType is corrupt."},
    {0x80090019,
     "The key container specifed by pszContainer does not exist or the requested provider does not exist"},
    {0x8009001A, "the pszContainer key container was found but is corrupt."},
    {0x8009001B, "The provider type specified by dwProvType does not match the provider type found."},
    {0x8009001C, "An error occured while loading the DLL file image, prior to verifying its signature"},
    {0x8009001D, "The provider DLL file could not be loaded or failed to initialize."},
    {0x8009001E, "The provider DLL file does not exist or is not on the current path."},
    {0x8009001F, "The pszContainer or pszProvider parameter is set to an invalid value"},
};

std::string errorText(DWORD value) {
    auto const* const known = std::find_if(std::begin(kKnownErrors), std::end(kKnownErrors),
                                           [=](KnownError const& error) { return error.value == value; });
    if (known != std::end(kKnownErrors)) {
        return known->text;
    }
    std::ostringstream text;
    text << "An error occured in running Microsft Crypto API with return values rc=0x" << std::hex << value;
    return text.str();
}

// Announces these providers; from the given call on, counted from 1, the answer is a failure.
struct Announced {
    std::vector<CSPEntry> entries;
    unsigned failsFrom = 0;

    void script(PlatformCalls& calls) const {
        auto const answer = [*this, call = 0U](DWORD index, DWORD*, DWORD, DWORD* type, LPSTR name,
                                               DWORD* size) mutable -> BOOL {
            bool const isFailing = failsFrom != 0 && ++call >= failsFrom;
            if (isFailing || index >= entries.size()) {
                SetLastError(static_cast<DWORD>(isFailing ? ERROR_BUSY : ERROR_NO_MORE_ITEMS));
                return FALSE;
            }
            *type = static_cast<DWORD>(entries[index].type);
            *size = static_cast<DWORD>(std::strlen(entries[index].name) + 1);
            if (name != nullptr) {
                std::memcpy(name, entries[index].name, *size);
            }
            return TRUE;
        };
        calls.answer(CryptEnumProvidersA, answer);
    }
};

char kFirst[] = "B provider";
char kSecond[] = "A provider";

std::vector<std::string> listed(CSPEntryContainer const& list) {
    std::vector<std::string> names;
    for (CSPEntry const* entry : list) {
        names.push_back(std::to_string(entry->type) + ' ' + entry->name);
    }
    return names;
}

} // namespace

TEST_F(Providers, ErrorTextsForEveryValueAroundTheKnownOnes) {
    auto const expectTexts = [](DWORD from, DWORD to) {
        for (DWORD value = from; value <= to; ++value) {
            SetLastError(value);
            EXPECT_EQ(CapiManagerUtility::HandleError().c_str(), errorText(value));
            EXPECT_EQ(GetLastError(), value);
        }
    };
    expectTexts(0, 300);
    expectTexts(0x80090000, 0x80090030);
}

TEST_F(Providers, ListKeepsThePlatformsOrderAndEqualNames) {
    struct Row {
        char const* why;
        Announced announced;
        std::vector<std::string> expected;
    };
    CSPEntry const first{1, kFirst};
    CSPEntry const second{12, kSecond};
    Row const rows[] = {
        {"none", {{}}, {}},
        {"not sorted, not filtered by type", {{first, second}}, {"1 B provider", "12 A provider"}},
        {"equal names stay two", {{first, first}}, {"1 B provider", "1 B provider"}},
        {"a probe that fails ends it quietly", {{first, second}, 3}, {"1 B provider"}},
        {"so does the first", {{first, second}, 1}, {}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.why);
        row.announced.script(calls);
        std::unique_ptr<CSPEntryContainer> const list(CapiManagerUtility::enumProviders());
        EXPECT_EQ(listed(*list), row.expected);
        EXPECT_EQ(list->ownership, TVKOwnershipOwned);
    }
    Announced{{first, second}, 4}.script(calls);
    EXPECT_EQ(raisedBy([] { CapiManagerUtility::enumProviders(); }),
              capi(kManagerUtility, 578002, errorText(ERROR_BUSY).c_str()))
        << "a fetch that fails takes the partial list with it";
}

TEST_F(Providers, CopiesOfTheManagerShareOneListThatGoesWithTheLast) {
    TVKLibraryManager::LibraryFunction const entry = TVKLibraryManager::getLibEntry("tvkbridge");
    ASSERT_EQ(entry, &libraryFunction);
    for (bool const originalGoesFirst : {true, false}) {
        std::unique_ptr<TVKCAPIManager> manager(static_cast<TVKCAPIManager*>(entry(nullptr)));
        std::unique_ptr<TVKCAPIManager> copy(manager->duplicate());
        EXPECT_EQ(copy->getCspNameList(), manager->getCspNameList());
        EXPECT_EQ(copy->getCspCount(), manager->getCspCount());
        (originalGoesFirst ? manager : copy).reset();
        TVKCAPIManager& last = *(originalGoesFirst ? copy : manager);
        ASSERT_EQ(last.getCspCount(), last.getCspNameList()->size());
        EXPECT_STREQ((*last.getCspNameList()->begin())->name, MS_ENHANCED_PROV_A);
    }
}

TEST_F(Providers, ASystemIsAskedForVersion5ServicePack2) {
    std::string asked;
    calls.answer(VerifyVersionInfoA, [&](OSVERSIONINFOEXA* version, DWORD mask, DWORDLONG condition) {
        std::ostringstream text;
        text << version->dwOSVersionInfoSize << ' ' << version->dwMajorVersion << '.'
             << version->dwMinorVersion << " sp" << version->wServicePackMajor << ' ' << mask;
        asked = text.str();
        return VerifyVersionInfoA(version, mask, condition);
    });
    delete static_cast<TVKCAPIManager*>(libraryFunction(&asked));
    EXPECT_EQ(asked, "156 5.0 sp2 35");
    EXPECT_EQ(calls.arguments(VerSetConditionMask).size(), 3U);
    EXPECT_EQ(calls.names().at(3), "VerifyVersionInfoA");
}

TEST_F(Providers, AContainerThatIsMissingIsMadeAtTheSecondAttempt) {
    struct Row {
        char const* why;
        std::vector<long> errors; // of the attempts; 0 lets one through
        DWORD flags;
        std::vector<DWORD> attempted;
        bool expected;
    };
    Row const rows[] = {
        {"at once", {0}, 0, {0}, true},
        {"made anew", {NTE_BAD_KEYSET, 0}, 0, {0, 8}, true},
        {"the flags are replaced, not joined", {NTE_BAD_KEYSET, 0}, CRYPT_MACHINE_KEYSET, {0x20, 8}, true},
        {"no third attempt", {NTE_BAD_KEYSET, NTE_BAD_KEYSET, 0}, 0, {0, 8}, false},
        {"another error ends it", {NTE_KEYSET_NOT_DEF, 0}, 0, {0}, false},
        {"so does a near one", {NTE_BAD_KEYSET_PARAM, 0}, CRYPT_NEWKEYSET, {8}, false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.why);
        std::vector<DWORD> attempted;
        constexpr HCRYPTPROV opened = 0x1234;
        calls.answer(
            CryptAcquireContextA,
            [&](HCRYPTPROV* provider, LPCSTR container, LPCSTR name, DWORD type, DWORD flags) -> BOOL {
                EXPECT_STREQ(container, "c");
                EXPECT_STREQ(name, "p");
                EXPECT_EQ(type, 24U);
                attempted.push_back(flags);
                long const error = row.errors.at(attempted.size() - 1);
                SetLastError(static_cast<DWORD>(error));
                *provider = error == 0 ? opened : 99;
                return error == 0;
            });
        HCRYPTPROV provider = 7;
        EXPECT_EQ(CapiManagerUtility::getCSPHandle(&provider, "c", "p", 24, row.flags), row.expected);
        EXPECT_EQ(attempted, row.attempted);
        EXPECT_EQ(provider, row.expected ? opened : 7) << "left alone on failure";
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(row.errors.at(attempted.size() - 1)));
    }
}

TEST_F(Providers, ParametersAreAssignedOnlyWhenRead) {
    KeyWorld const world;
    constexpr DWORD unknown = 9999;
    TVKString name("before");
    EXPECT_FALSE(CapiManagerUtility::getProvParam(world.provider.get(), unknown, name));
    EXPECT_EQ(name.view(), "before");
    auto const noSize = [](HCRYPTPROV, DWORD, BYTE*, DWORD* size, DWORD) {
        *size = 100;
        return FALSE;
    };
    calls.answer(CryptGetProvParam, noSize, 1);
    EXPECT_FALSE(CapiManagerUtility::getProvParam(world.provider.get(), PP_NAME, name))
        << "a size query that fails shows in the result";
    EXPECT_EQ(name.view(), MS_ENHANCED_PROV_A);

    TVKBuffer value = buffer("before");
    EXPECT_FALSE(CapiManagerUtility::getKeyParam(world.key.get(), unknown, value));
    EXPECT_EQ(text(value), "before");
    ASSERT_TRUE(CryptSetKeyParam(world.key.get(), KP_CERTIFICATE, world.cert.get()->pbCertEncoded, 0));
    EXPECT_TRUE(CapiManagerUtility::getKeyParam(world.key.get(), KP_CERTIFICATE, value));
    EXPECT_EQ(value.compare(TVKBuffer(world.cert.get()->cbCertEncoded, world.cert.get()->pbCertEncoded)), 0);
}

TEST_F(Providers, CertificatesAreComparedWithProviderAndName) {
    KeyWorld const world;
    OwnedCertificate const keyless = certificate("Bob");
    struct Row {
        char const* name;
        PCCERT_CONTEXT cert;
        bool expected;
    };
    Row const rows[] = {
        {MS_ENHANCED_PROV_A, world.cert.get(), true},
        {"microsoft enhanced cryptographic provider v1.0", world.cert.get(), false},
        {"Microsoft Enhanced", world.cert.get(), false},
        {"\xFF", world.cert.get(), false},
        {MS_ENHANCED_PROV_A, keyless.get(), false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(CapiManagerUtility::compareCSPName(row.name, row.cert), row.expected);
    }
    auto const image = [](CERT_NAME_BLOB const& blob, unsigned int size = sizeof(CERT_NAME_BLOB)) {
        return TVKBuffer(size, reinterpret_cast<unsigned char const*>(&blob));
    };
    CERT_NAME_BLOB const& alice = world.cert.get()->pCertInfo->Subject;
    EXPECT_TRUE(CapiManagerUtility::compareSubjetNameBlob(world.cert.get(), image(alice)));
    EXPECT_FALSE(CapiManagerUtility::compareSubjetNameBlob(keyless.get(), image(alice)));
    EXPECT_FALSE(CapiManagerUtility::compareSubjetNameBlob(world.cert.get(), image(alice, 4)))
        << "not the image of the structure";
}

TEST_F(Providers, KeySizeIsThatOfTheCertificateInBits) {
    EXPECT_EQ(CapiManagerUtility::getKeySizeInBits(certificate("Alice").get()), 1024U);
    CERT_INFO noKey{};
    CERT_CONTEXT const withoutKey{CapiManagerUtility::encoding, nullptr, 0, &noKey, nullptr};
    EXPECT_EQ(CapiManagerUtility::getKeySizeInBits(&withoutKey), 0U);
}

TEST_F(Providers, TheStoreNamesItsProviderAndTellsWhatItHolds) {
    struct Row {
        char const* name;
        unsigned long kind;
        char const* reported;
    };
    for (Row const& row :
         {Row{"", 1, MS_ENHANCED_PROV_A}, Row{MS_ENHANCED_PROV_A, 1, MS_ENHANCED_PROV_A},
          Row{"Other", 2, "Other"}, Row{MS_ENHANCED_PROV_A "x", 0, MS_ENHANCED_PROV_A "x"}}) {
        SCOPED_TRACE(row.name);
        calls.forget();
        CSPManager manager(row.name, row.kind);
        EXPECT_EQ(manager.getCSPName().view(), row.reported);
        EXPECT_EQ(s_cspName.view(), row.reported);
        EXPECT_EQ(s_containerName, manager.getKeyContainerName(manager.gethCryptProv()));
        EXPECT_NE(s_containerName.size(), 0U);
        EXPECT_FALSE(manager.isHardwareCSP());
        EXPECT_EQ(manager.getCurrentCertificate(), nullptr);
        EXPECT_EQ(calls.arguments(CryptAcquireContextA).at(0), "set, 0, \"" MS_ENHANCED_PROV_A "\", 1, 0")
            << "the default provider, whatever the name";
    }
}

TEST_F(Providers, CopiesOfTheStoreShareOneStateThatGoesWithTheLast) {
    for (bool const originalGoesFirst : {true, false}) {
        calls.forget();
        auto manager = std::make_unique<CSPManager>("", 1);
        std::unique_ptr<TVKCspManager> copy(manager->duplicate());
        OwnedCertificate const cert = certificate("Alice", manager->getSystemStore());
        manager->setCurrentCertificate(cert.get());
        EXPECT_EQ(copy->getCurrentCertificate(), cert.get());
        EXPECT_EQ(copy->getSystemStore(), manager->getSystemStore());
        EXPECT_EQ(copy->gethCryptProv(), manager->gethCryptProv());
        calls.forget();
        if (originalGoesFirst) {
            manager.reset();
            EXPECT_EQ(calls.names().size(), 0U) << "the copy still uses everything";
            EXPECT_NE(copy->getKeyContainerName(copy->gethCryptProv()).size(), 0U);
            calls.forget();
        }
        copy.reset();
        manager.reset();
        EXPECT_EQ(calls.names(), (std::vector<std::string>{"CryptReleaseContext", "CertCloseStore"}));
    }
}

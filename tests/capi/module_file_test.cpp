#include "support/run_program.h"
#include "support/scratch_profile.h"
#include "toolkit/hex.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <fstream>
#include <regex>

namespace {

using Names = std::set<std::string>;

// The dynamic symbols of a file, without their versions.
Names symbolsOf(char const* file, char const* which) {
    ProgramResult const run = runProgram({.arguments = {"nm", "-D", which, "-f", "posix", file}});
    EXPECT_EQ(run.exitCode, 0) << run.error;
    Names names;
    std::istringstream lines(run.output);
    for (std::string line; std::getline(lines, line);)
        names.insert(line.substr(0, line.find_first_of(" @")));
    return names;
}

std::unique_ptr<TVKCAPIManager> newManager() {
    auto const entry = TVKLibraryManager::getLibEntry("tvkbridge");
    return std::unique_ptr<TVKCAPIManager>(static_cast<TVKCAPIManager*>(entry(nullptr)));
}

} // namespace

TEST(ModuleFile, TwoNamesGoOutAndThePlatformCallsComeIn) {
    EXPECT_EQ(symbolsOf(TVKBRIDGE_FILE, "--defined-only"),
              (Names{"tvkbridge_Copyright", "tvkbridge_SCCSInfo"}));
    Names const offered = symbolsOf(WINCRYPT_FILE, "--defined-only");
    Names used = symbolsOf(TVKBRIDGE_FILE, "--undefined-only");
    std::erase_if(used, [&](std::string const& name) { return offered.count(name) == 0; });
    std::istringstream expected(
        "CertAddCertificateContextToStore CertAddEncodedCertificateToStore CertAddStoreToCollection "
        "CertCloseStore CertCompareCertificateName CertCreateCertificateContext "
        "CertCreateSelfSignCertificate CertDeleteCertificateFromStore CertEnumCertificatesInStore "
        "CertFindCertificateInStore CertFreeCertificateContext CertGetCertificateContextProperty "
        "CertGetNameStringA CertGetPublicKeyLength CertOpenStore CertOpenSystemStoreA "
        "CertSetCertificateContextProperty CryptAcquireCertificatePrivateKey CryptAcquireContextA "
        "CryptCreateHash CryptDecrypt CryptDestroyHash CryptDestroyKey CryptEncodeObject CryptEncrypt "
        "CryptEnumProvidersA CryptExportPKCS8 CryptExportPublicKeyInfo CryptGenKey CryptGenRandom "
        "CryptGetKeyParam CryptGetProvParam CryptGetUserKey CryptHashData CryptImportPKCS8 "
        "CryptReleaseContext CryptSetHashParam CryptSetKeyParam CryptSignHashA CryptVerifySignatureA "
        "DisableThreadLibraryCalls GetLastError VerSetConditionMask VerifyVersionInfoA");
    EXPECT_EQ(used, (Names{std::istream_iterator<std::string>(expected), {}}));
}

TEST(ModuleFile, RegistersWhileItIsLoadedAndAgainWhenItIsLoadedAgain) {
    ScratchProfile const profile;
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        EXPECT_EQ(TVKLibraryManager::getLibEntry("tvkbridge"), nullptr);
        TVKLibraryManager::loadLibrary(TVKBRIDGE_FILE);
        ASSERT_NE(TVKLibraryManager::getLibEntry("tvkbridge"), nullptr);
        std::unique_ptr<TVKCspManager> store(newManager()->getCspManager("", 1));
        EXPECT_EQ(store->getCSPName().view(), MS_ENHANCED_PROV_A) << "outlives the manager";
        EXPECT_NE(newManager()->getCspNameList(), newManager()->getCspNameList()) << "each its own";
        store.reset();
        TVKLibraryManager::unloadLibrary(TVKBRIDGE_FILE);
        EXPECT_EQ(dlopen(TVKBRIDGE_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still mapped";
    }
    EXPECT_EQ(TVKLibraryManager::getLibEntry("tvkbridge"), nullptr);
}

TEST(ModuleFile, OpensNoDatabaseBeforeAStoreIsWanted) {
    ScratchProfile const profile;
    std::string const log = profile.file("log");
    EnvironmentVariable const logged("WINCRYPT_LOG", log);
    std::ofstream(profile.userHome() / "user.db") << "whoever opens this says so";
    TVKLibraryManager::loadLibrary(TVKBRIDGE_FILE);
    newManager();
    EXPECT_FALSE(std::filesystem::exists(log));
    EXPECT_THROW(newManager()->getCspManager("", 1), TVKException);
    EXPECT_TRUE(std::filesystem::exists(log));
    TVKLibraryManager::unloadLibrary(TVKBRIDGE_FILE);
}

TEST(ModuleFile, ItsExceptionsAreCaughtByType) {
    ScratchProfile const profile;
    TVKLibraryManager::loadLibrary(TVKBRIDGE_FILE);
    try {
        newManager()->getCspManager("", 4);
        ADD_FAILURE();
    } catch (TVKCAPIException const& failure) {
        EXPECT_EQ(failure.getCode(), 578002);
        EXPECT_EQ(failure.getFile().view(), "./capi/src/capimanagerutility");
        EXPECT_FALSE(failure.hasSystemCode());
    }
    std::unique_ptr<TVKCspManager> store(newManager()->getCspManager("", 1));
    EXPECT_THROW(store->createSelfSignCertificate("", TVKBuffer(), TVKASNValidity(TVKASNNotSecure),
                                                  TVKASNAlgorithmID(TVKASNNotSecure), TVKBuffer()),
                 TVKException);
    std::unique_ptr<TVKKRYAlgorithmFactory> factory(store->getTVKKRYAlgorithmFactory());
    TVKKRYKey foreign;
    foreign.setFormat(TVKKRYKey::KeyRecord);
    foreign.setKeyBlob(TVKCAPIASNKeyRecord("", TVKBuffer(4, nullptr), 0, TVKBuffer()).getBuffer());
    std::unique_ptr<TVKKRYSignatureAlgorithm> signer(factory->make_SHA1WithRSA_SignatureAlgorithm(foreign));
    try {
        signer->signDataInit();
        ADD_FAILURE();
    } catch (TVKCAPIException const& failure) {
        EXPECT_EQ(failure.getCode(), 578012);
        EXPECT_TRUE(failure.hasSystemCode());
        EXPECT_EQ(failure.getSystemCode(), ERROR_INVALID_PARAMETER);
        EXPECT_GT(failure.getLine(), 0);
        EXPECT_EQ(failure.getMessage().view(), "CryptAcquireContext() return value rc=0x");
    }
    signer.reset();
    factory.reset();
    store.reset();
    TVKLibraryManager::unloadLibrary(TVKBRIDGE_FILE);
}

TEST(ModuleFile, CarriesItsNoticeAndItsVersionRecord) {
    std::unique_ptr<void, int (*)(void*)> const file(dlopen(TVKBRIDGE_FILE, RTLD_NOW), &dlclose);
    ASSERT_NE(file, nullptr) << dlerror();
    auto const* notice = static_cast<char const*>(dlsym(file.get(), "tvkbridge_Copyright"));
    auto const* record = static_cast<char const*>(dlsym(file.get(), "tvkbridge_SCCSInfo"));
    ASSERT_NE(notice, nullptr);
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(std::regex_search(notice, std::regex("Copyright[^]*\n"))) << "of several lines";
    std::string expected;
    for (char const* key : {"CompanyName", "LegalTrademarks", "FileDescription", "FileVersion",
                            "InternalName", "LegalCopyright", "OriginalFilename", "ProductName",
                            "ProductVersion", "ProductInfo", "SourceLevels"}) {
        bool const isVersion = std::string(key).ends_with("Version");
        // An "@" in a value is a place that the build didn't fill.
        expected +=
            std::string("@\\(#\\)") + key + ": +" + (isVersion ? TVKBRIDGE_VERSION : "[^ @\n][^@\n]*") + '\n';
    }
    EXPECT_TRUE(std::regex_match(record, std::regex(expected))) << record << "doesn't match\n" << expected;
}

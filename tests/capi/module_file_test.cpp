#include "support/run_program.h"
#include "support/scratch_profile.h"

#include <tvkcore/base/tvkexception.h>
#include <tvkcore/base/tvklibrarymanager.h>
#include <tvkcore/store/tvkcapimanager.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using namespace test_support;

namespace {

using Names = std::set<std::string>;

// The dynamic symbols of a file, without their versions.
Names symbolsOf(char const* file, char const* which) {
    ProgramResult const run = runProgram({.arguments = {"nm", "-D", which, "-f", "posix", file}});
    EXPECT_EQ(run.exitCode, 0) << run.error;
    Names names;
    std::istringstream lines(run.output);
    for (std::string line; std::getline(lines, line);) {
        names.insert(line.substr(0, line.find_first_of(" @")));
    }
    return names;
}

class ModuleFile : public ::testing::Test {
protected:
    ModuleFile() { TVKLibraryManager::loadLibrary(TVKBRIDGE_FILE); }
    ~ModuleFile() override { TVKLibraryManager::unloadLibrary(TVKBRIDGE_FILE); }

    static std::unique_ptr<TVKCAPIManager> manager(void* argument = nullptr) {
        TVKLibraryManager::LibraryFunction const entry = TVKLibraryManager::getLibEntry("tvkbridge");
        EXPECT_NE(entry, nullptr);
        return std::unique_ptr<TVKCAPIManager>(static_cast<TVKCAPIManager*>(entry(argument)));
    }

    ScratchProfile profile;
};

} // namespace

TEST(ModuleFileSymbols, TwoNamesGoOut) {
    EXPECT_EQ(symbolsOf(TVKBRIDGE_FILE, "--defined-only"),
              (Names{"tvkbridge_Copyright", "tvkbridge_SCCSInfo"}));
}

TEST(ModuleFileSymbols, ThePlatformCallsComeIn) {
    Names const offered = symbolsOf(WINCRYPT_FILE, "--defined-only");
    Names used;
    for (std::string const& name : symbolsOf(TVKBRIDGE_FILE, "--undefined-only")) {
        if (offered.count(name) != 0) {
            used.insert(name);
        }
    }
    std::istringstream expected(
        "CertAddCertificateContextToStore CertAddStoreToCollection CertCloseStore "
        "CertCompareCertificateName CertCreateSelfSignCertificate CertDeleteCertificateFromStore "
        "CertEnumCertificatesInStore CertFindCertificateInStore CertFreeCertificateContext "
        "CertGetCertificateContextProperty CertGetNameStringA CertGetPublicKeyLength "
        "CertOpenStore CertOpenSystemStoreA CertSetCertificateContextProperty "
        "CryptAcquireCertificatePrivateKey CryptAcquireContextA CryptCreateHash CryptDecrypt "
        "CryptDestroyKey CryptEncodeObject CryptEncrypt CryptEnumProvidersA CryptExportPKCS8 "
        "CryptExportPublicKeyInfo CryptGenKey CryptGenRandom CryptGetKeyParam CryptGetProvParam "
        "CryptGetUserKey CryptHashData CryptReleaseContext CryptSetHashParam CryptSignHashA "
        "CryptVerifySignatureA DisableThreadLibraryCalls GetLastError VerSetConditionMask "
        "VerifyVersionInfoA");
    EXPECT_EQ(used, (Names{std::istream_iterator<std::string>(expected), {}}));
}

TEST(ModuleFileLoading, RegistersWhileItIsLoadedAndAgainWhenItIsLoadedAgain) {
    ScratchProfile const profile;
    EXPECT_EQ(TVKLibraryManager::getLibEntry("tvkbridge"), nullptr);
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        TVKLibraryManager::loadLibrary(TVKBRIDGE_FILE);
        TVKLibraryManager::LibraryFunction const entry = TVKLibraryManager::getLibEntry("tvkbridge");
        ASSERT_NE(entry, nullptr);
        std::unique_ptr<TVKCAPIManager> root(static_cast<TVKCAPIManager*>(entry(nullptr)));
        std::unique_ptr<TVKCspManager> store(root->getCspManager("", 1));
        root.reset();
        EXPECT_EQ(store->getCSPName().view(), MS_ENHANCED_PROV_A) << "outlives the manager";
        store.reset();
        TVKLibraryManager::unloadLibrary(TVKBRIDGE_FILE);
        EXPECT_EQ(TVKLibraryManager::getLibEntry("tvkbridge"), nullptr);
        EXPECT_EQ(dlopen(TVKBRIDGE_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still mapped";
    }
}

TEST_F(ModuleFile, EachCallGivesAManagerOfItsOwn) {
    int anything = 0;
    std::unique_ptr<TVKCAPIManager> one = manager();
    std::unique_ptr<TVKCAPIManager> const two = manager(&anything);
    EXPECT_NE(one->getCspNameList(), two->getCspNameList());
    one.reset();
    EXPECT_GE(two->getCspCount(), 1U);
}

TEST_F(ModuleFile, ItsExceptionsAreCaughtByType) {
    std::unique_ptr<TVKCAPIManager> const root = manager();
    try {
        root->getCspManager("", 4);
        FAIL();
    } catch (TVKCAPIException const& failure) {
        EXPECT_EQ(failure.getCode(), 578002);
        EXPECT_EQ(failure.getFile().view(), "./capi/src/capimanagerutility");
        EXPECT_GT(failure.getLine(), 0);
        EXPECT_EQ(failure.getMessage().view(),
                  "We ONLY support to open certificate store with MY, UserDS, CA, ROOT");
        EXPECT_FALSE(failure.hasSystemCode());
    }
    std::unique_ptr<TVKCspManager> const store(root->getCspManager("", 1));
    EXPECT_THROW(store->getTVKKRYAlgorithmFactory(), TVKException);
}

TEST_F(ModuleFile, CarriesItsNoticeAndItsVersionRecord) {
    std::unique_ptr<void, int (*)(void*)> const file(dlopen(TVKBRIDGE_FILE, RTLD_NOW), &dlclose);
    ASSERT_NE(file, nullptr) << dlerror();
    auto const* notice = static_cast<char const*>(dlsym(file.get(), "tvkbridge_Copyright"));
    auto const* record = static_cast<char const*>(dlsym(file.get(), "tvkbridge_SCCSInfo"));
    ASSERT_NE(notice, nullptr);
    ASSERT_NE(record, nullptr);
    EXPECT_NE(std::string(notice).find("Copyright"), std::string::npos);
    EXPECT_NE(std::string(notice).find('\n'), std::string::npos) << "several lines";

    std::vector<std::string> keys;
    std::istringstream lines(record);
    for (std::string line; std::getline(lines, line);) {
        SCOPED_TRACE(line);
        ASSERT_EQ(line.substr(0, 4), "@(#)");
        std::size_t const colon = line.find(':');
        ASSERT_NE(colon, std::string::npos);
        keys.push_back(line.substr(4, colon - 4));
        std::size_t const value = line.find_first_not_of(' ', colon + 1);
        ASSERT_NE(value, std::string::npos);
        EXPECT_GT(value, colon + 1) << "no blank";
        if (keys.back() == "FileVersion" || keys.back() == "ProductVersion") {
            EXPECT_EQ(line.substr(value), TVKBRIDGE_VERSION);
        }
        EXPECT_EQ(line.find('@', 4), std::string::npos) << "a place that the build didn't fill";
    }
    EXPECT_EQ(keys,
              (std::vector<std::string>{"CompanyName", "LegalTrademarks", "FileDescription", "FileVersion",
                                        "InternalName", "LegalCopyright", "OriginalFilename", "ProductName",
                                        "ProductVersion", "ProductInfo", "SourceLevels"}));
    EXPECT_EQ(std::string(record).back(), '\n');
}

#include "capiglobal.h"
#include "capimanager.h"
#include "cspmanager.h"
#include "cspmanagerutility.h"
#include "module_fixture.h"

#include <wincrypt_layer.h>

#include <vector>

using namespace capi_tests;

namespace {

using Script = std::function<void(PlatformCalls&)>;

template <typename Result, typename... Arguments>
Script failing(Result (*call)(Arguments...), long error, unsigned nth = 0) {
    return
        [call, code = static_cast<DWORD>(error), nth](PlatformCalls& calls) { calls.fail(call, code, nth); };
}

void nothingFails(PlatformCalls& /*calls*/) {}

Raised certificateMissing() {
    return {.type = "TVKException", .file = kCspUtility, .code = 571002, .message = "certPtr is NULL"};
}

PCCERT_CONTEXT selfSign(KeyWorld& world) {
    std::wstring container = L"keys";
    std::wstring provider = L"" MS_ENHANCED_PROV_A;
    CRYPT_KEY_PROV_INFO info{container.data(), provider.data(), PROV_RSA_FULL, 0, 0, nullptr, AT_KEYEXCHANGE};
    CERT_NAME_BLOB const& subject = world.cert.get()->pCertInfo->Subject;
    return CapiManagerUtility::createSelfSignCertificate(TVKBuffer(subject.cbData, subject.pbData), &info,
                                                         nullptr, nullptr);
}

struct Row {
    char const* why;
    Script script;
    std::function<void(KeyWorld&)> operation;
    Raised expected;
};

class Failures : public ModuleTest {
protected:
    // Runs every row in one world; what the operation had opened by the time it failed must be closed again.
    void expectAll(std::vector<Row> const& rows) {
        KeyWorld world;
        for (Row const& row : rows) {
            SCOPED_TRACE(row.why);
            std::size_t const before = WincryptLiveObjectCount();
            calls.reset();
            row.script(calls);
            EXPECT_EQ(raisedBy([&] { row.operation(world); }), row.expected);
            EXPECT_EQ(WincryptLiveObjectCount(), before);
            calls.reset();
        }
    }
};

} // namespace

TEST_F(Failures, OfProvidersAndStores) {
    auto const manager = [](char const* name, unsigned long kind) {
        return [=](KeyWorld&) { CSPManager const made(name, kind); };
    };
    auto const store = [](unsigned long kind) {
        return [=](KeyWorld&) {
            bool admin = false;
            OwnedStore const opened(CapiManagerUtility::openCertStore(0, kind, &admin));
        };
    };
    constexpr char noFlags[] = "The dwFlags parameter has an invalid value.";
    constexpr char noMemory[] = "The operating system ran out of memory";
    expectAll({
        {"system too old", failing(VerifyVersionInfoA, ERROR_OLD_WIN_VERSION),
         [](KeyWorld&) {
             std::unique_ptr<CAPIManager> const made(static_cast<CAPIManager*>(libraryFunction(nullptr)));
         },
         capi("./capi/src/capiglobal", 578004,
              "MS Crypto API only support on Windows 2000 with Service Pack 2")},
        {"no provider", failing(CryptEnumProvidersA, ERROR_NO_MORE_ITEMS),
         [](KeyWorld&) {
             std::unique_ptr<CAPIManager> const made(static_cast<CAPIManager*>(libraryFunction(nullptr)));
         },
         capi("./capi/src/capimanager", 578001, "No Cryptographic Service Provider registered")},
        {"a provider that was announced can't be read", failing(CryptEnumProvidersA, NTE_BAD_FLAGS, 2),
         [](KeyWorld&) {
             std::unique_ptr<CAPIManager> const made(static_cast<CAPIManager*>(libraryFunction(nullptr)));
         },
         capi(kManagerUtility, 578002, noFlags)},
        {"default provider fails", failing(CryptAcquireContextA, NTE_BAD_FLAGS), manager("", 1),
         capi(kCspManager, 578002, noFlags)},
        {"named provider, no library", failing(CryptAcquireContextA, NTE_PROV_DLL_NOT_FOUND),
         manager("Other", 2),
         capi(kCspManager, 578001, "The provider DLL file does not exist or not on the current path")},
        {"the default provider by its name, library fails",
         failing(CryptAcquireContextA, NTE_PROVIDER_DLL_FAIL), manager(MS_ENHANCED_PROV_A, 1),
         capi(kCspManager, 578001, "The provider DLL file could not be loaded or failed to initialize.")},
        {"named provider, other failure", failing(CryptAcquireContextA, NTE_BAD_FLAGS), manager("Other", 2),
         capi(kCspManager, 578001, noFlags)},
        {"default provider, no library: the other text",
         failing(CryptAcquireContextA, NTE_PROV_DLL_NOT_FOUND), manager("", 1),
         capi(kCspManager, 578002, "The provider DLL file does not exist or is not on the current path.")},
        {"MY doesn't open", failing(CertOpenSystemStoreA, ERROR_NOT_ENOUGH_MEMORY), manager("", 1),
         capi(kCspManager, 578002, noMemory)},
        {"UserDS doesn't open", failing(CertOpenSystemStoreA, ERROR_NOT_ENOUGH_MEMORY), manager("Other", 2),
         capi(kCspManager, 578002, noMemory)},
        {"the user's CA doesn't open", failing(CertOpenStore, ERROR_NOT_ENOUGH_MEMORY, 1), store(0),
         capi(kManagerUtility, 578002, noMemory)},
        {"the user's ROOT doesn't open", failing(CertOpenStore, ERROR_NOT_ENOUGH_MEMORY, 1), store(3),
         capi(kManagerUtility, 578002, noMemory)},
        {"the stores can't be joined", failing(CertAddStoreToCollection, ERROR_NOT_ENOUGH_MEMORY), store(3),
         capi(kManagerUtility, 578002, noMemory)},
        {"the same inside a manager, which has a provider open",
         failing(CertAddStoreToCollection, ERROR_NOT_ENOUGH_MEMORY), manager("", 3),
         capi(kManagerUtility, 578002, noMemory)},
        {"no such kind of store", nothingFails, manager("", 4),
         capi(kManagerUtility, 578002,
              "We ONLY support to open certificate store with MY, UserDS, CA, ROOT")},
        {"the keys of a card",
         nothingFails,
         manager("Other", 1),
         {"TVKException",
          kCspManager,
          571401,
          "the store of a smart card's certificates isn't available in this version of the module",
          {}}},
    });
}

TEST_F(Failures, OfCertificates) {
    auto const rename = [](KeyWorld& w) { CapiManagerUtility::setCertFriendlyName(w.cert.get(), "new"); };
    auto const remove = [](KeyWorld& w) { CapiManagerUtility::deleteCertificate(w.cert.get()); };
    auto const sign = [](KeyWorld& w) { OwnedCertificate const made(selfSign(w)); };
    constexpr char notAdded[] = "Add certificate to personal certificate store fail. return values rc=0x";
    expectAll({
        {"friendly name refused", failing(CertSetCertificateContextProperty, E_ACCESSDENIED), rename,
         capi(kManagerUtility, 578006, "add certificate label fail")},
        {"friendly name that isn't UTF-8", nothingFails,
         [](KeyWorld& w) { CapiManagerUtility::setCertFriendlyName(w.cert.get(), "\xFF"); },
         capi(kManagerUtility, 578006, "add certificate label fail")},
        {"no certificate made", failing(CertCreateSelfSignCertificate, NTE_BAD_ALGID), sign,
         capi(kManagerUtility, 578006, "create self sign certificate fail. return values rc=0x",
              NTE_BAD_ALGID)},
        {"its key not reached", failing(CryptAcquireCertificatePrivateKey, NTE_BAD_KEYSET), sign,
         capi(kManagerUtility, 578006, "get Key Provider fail. return values rc=0x", NTE_BAD_KEYSET)},
        {"not added to MY", failing(CertAddCertificateContextToStore, E_ACCESSDENIED), sign,
         capi(kManagerUtility, 578006, notAdded, E_ACCESSDENIED)},
        {"MY not opened for it", failing(CertOpenSystemStoreA, ERROR_FILE_CORRUPT), sign,
         capi(kManagerUtility, 578006, notAdded, ERROR_INVALID_HANDLE)},
        {"read-only store", failing(CertDeleteCertificateFromStore, E_ACCESSDENIED), remove,
         capi(kManagerUtility, 578008,
              "the store was opened as read-only and a delete operation is not allowed")},
        {"the user says no", failing(CertDeleteCertificateFromStore, ERROR_CANCELLED), remove,
         capi(kManagerUtility, 578010, "delete certificate")},
        {"not deleted for another reason", failing(CertDeleteCertificateFromStore, CRYPT_E_NOT_FOUND), remove,
         capi(kManagerUtility, 578008, "failed in CertDeleteCertificate()")},
        {"no certificate for an item", nothingFails,
         [](KeyWorld&) { CspManagerUtility::makeCertItem(nullptr); }, certificateMissing()},
        {"no certificate for a pair", nothingFails,
         [](KeyWorld&) { CspManagerUtility::makeKeyCertItem(nullptr); }, certificateMissing()},
        {"no certificate for a key", nothingFails,
         [](KeyWorld&) {
             CSPManager manager("", 1);
             CspManagerUtility::makeKeyItem(manager, nullptr);
         },
         certificateMissing()},
    });
}

TEST_F(Failures, OfKeys) {
    auto const keyInCert = [](KeyWorld& w) {
        OwnedProvider provider;
        OwnedKey key;
        CapiManagerUtility::getKeyInCert(w.cert.get(), provider.receive(), key.receive());
    };
    auto const open = [](KeyWorld& w) {
        OwnedProvider provider;
        OwnedKey key;
        DWORD keySpec = 0;
        CspManagerUtility::getCapiKeyProv(w.reference, provider.receive(), &keySpec, key.receive(), false);
    };
    auto const exported = [](KeyWorld& w) {
        TVKBuffer material;
        CspManagerUtility::convertRealKey(w.reference, material);
    };
    auto const generate = [](auto operation) {
        return [=](KeyWorld& w) {
            TVKBuffer handle = buffer("before");
            EXPECT_THROW(operation(w.provider.get(), AT_KEYEXCHANGE, 0, handle), std::exception);
            EXPECT_EQ(text(handle), "before");
            operation(w.provider.get(), AT_KEYEXCHANGE, 0, handle);
        };
    };
    expectAll({
        {"random data", failing(CryptGenRandom, NTE_FAIL),
         [](KeyWorld& w) {
             TVKBuffer data(8, nullptr);
             CapiManagerUtility::generateRandomData(w.provider.get(), data);
         },
         capi(kManagerUtility, 578011, "CryptGenRandom() return values rc=0x", NTE_FAIL)},
        {"a key", failing(CryptGenKey, NTE_BAD_ALGID), generate(&CapiManagerUtility::generateKey),
         capi(kManagerUtility, 578012, "CryptGenKey() return values rc=0x", NTE_BAD_ALGID)},
        {"a key pair", failing(CryptGenKey, NTE_BAD_ALGID), generate(&CapiManagerUtility::generateKeyPair),
         capi(kManagerUtility, 578012, "CryptGenKey() return values rc=0x", NTE_BAD_ALGID)},
        {"the certificate's provider", failing(CryptAcquireCertificatePrivateKey, NTE_BAD_KEYSET), keyInCert,
         capi(kManagerUtility, 578012, "CryptAcquireCertificatePrivateKey() return values rc=0x",
              NTE_BAD_KEYSET)},
        {"the certificate's key", failing(CryptGetUserKey, NTE_NO_KEY), keyInCert,
         capi(kManagerUtility, 578012, "CryptGetUserKey() return values rc=0x", NTE_NO_KEY)},
        {"the public key of a slot", failing(CryptGetUserKey, NTE_NO_KEY),
         [](KeyWorld& w) { CspManagerUtility::makeKeyItem(w.provider.get(), AT_SIGNATURE, false, nullptr); },
         capi(kCspUtility, 578012, "CryptGetUserKey() return values rc=0x", NTE_NO_KEY)},
        {"the reference's provider", failing(CryptAcquireContextA, NTE_KEYSET_NOT_DEF), open,
         capi(kCspUtility, 578012, "CryptAcquireContext() return value rc=0x", NTE_KEYSET_NOT_DEF)},
        {"the reference's key", failing(CryptGetUserKey, NTE_NO_KEY), open,
         capi(kCspUtility, 578012, "CryptGetUserKey() return value rc=0x", NTE_NO_KEY)},
        {"the key to export", failing(CryptGetUserKey, NTE_NO_KEY), exported,
         capi(kCspUtility, 578012, "CryptGetUserKey() return value rc=0x", NTE_NO_KEY)},
        {"export for an unknown reason", failing(CryptExportPKCS8, NTE_FAIL), exported,
         capi(kCspUtility, 578012, "CryptExportPKCS8() return value rc=0x", NTE_FAIL)},
    });
}

TEST_F(Failures, OfCryptographicWork) {
    // Each leaves its result as it was.
    auto const withResult = [](auto operation) {
        return [=](KeyWorld& w) {
            TVKBuffer result = buffer("before");
            try {
                operation(w, result);
            } catch (...) {
                EXPECT_EQ(text(result), "before");
                throw;
            }
        };
    };
    auto const encrypt = withResult([](KeyWorld& w, TVKBuffer& result) {
        CapiManagerUtility::encryptUpdate(w.key.get(), buffer("data"), result, false);
    });
    auto const decrypt = withResult([](KeyWorld& w, TVKBuffer& result) {
        CapiManagerUtility::decryptFinal(w.key.get(), buffer("data"), result);
    });
    auto const sign = withResult([](KeyWorld& w, TVKBuffer& result) {
        CapiManagerUtility::signFinal(w.hash.get(), result, AT_KEYEXCHANGE);
    });
    auto const signUpdate = [](bool hashData) {
        return [=](KeyWorld& w) { CapiManagerUtility::signUpdate(w.hash.get(), buffer("data"), hashData); };
    };
    auto const begin = [](auto operation) {
        return [=](KeyWorld& w) {
            OwnedHash hash;
            operation(w.provider.get(), CALG_SHA1, hash.receive());
        };
    };
    constexpr char notEncrypted[] = "CryptEncrypt() return values rc=0x";
    expectAll({
        {"encryption from the size on", failing(CryptEncrypt, NTE_BAD_LEN), encrypt,
         capi(kManagerUtility, 578013, notEncrypted, NTE_BAD_LEN)},
        {"encryption after the size", failing(CryptEncrypt, NTE_BAD_KEY, 2), encrypt,
         capi(kManagerUtility, 578013, notEncrypted, NTE_BAD_KEY)},
        {"the size alone", failing(CryptEncrypt, NTE_BAD_KEY, 1),
         withResult([](KeyWorld& w, TVKBuffer& result) {
             CapiManagerUtility::encryptFinal(w.key.get(), TVKBuffer(4096, nullptr), result);
         }),
         capi(kManagerUtility, 578013, notEncrypted, NTE_BAD_LEN)},
        {"decryption", failing(CryptDecrypt, NTE_BAD_DATA), decrypt,
         capi(kManagerUtility, 578014, "CryptDecrypt() return values rc=0x", NTE_BAD_DATA)},
        {"a hash to sign", failing(CryptCreateHash, NTE_BAD_ALGID), begin(&CapiManagerUtility::signInit),
         capi(kManagerUtility, 578015, "")},
        {"data to sign", failing(CryptHashData, NTE_BAD_HASH_STATE), signUpdate(true),
         capi(kManagerUtility, 578015, "")},
        {"a finished hash to sign", failing(CryptSetHashParam, NTE_BAD_HASH_STATE), signUpdate(false),
         capi(kManagerUtility, 578015, "CryptSetHashParam() return values rc=0x", NTE_BAD_HASH_STATE)},
        {"the size of a signature", failing(CryptSignHashA, NTE_NO_KEY, 1), sign,
         capi(kManagerUtility, 578015, "")},
        {"a signature", failing(CryptSignHashA, NTE_NO_KEY, 2), sign, capi(kManagerUtility, 578015, "")},
        {"a hash to verify", failing(CryptCreateHash, NTE_BAD_ALGID), begin(&CapiManagerUtility::verifyInit),
         capi(kManagerUtility, 578016, "")},
        {"data to verify", failing(CryptHashData, NTE_BAD_HASH_STATE),
         [](KeyWorld& w) { CapiManagerUtility::verifyUpdate(w.hash.get(), buffer("data")); },
         capi(kManagerUtility, 578016, "")},
        {"a signature that doesn't match", nothingFails,
         [](KeyWorld& w) {
             CapiManagerUtility::verifyFinal(w.hash.get(), TVKBuffer(128, nullptr), w.key.get());
         },
         capi(kManagerUtility, 578016, "")},
    });
}

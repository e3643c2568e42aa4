#include "capiglobal.h"
#include "capimanager.h"
#include "module_fixture.h"

using namespace capi_tests;

namespace {

constexpr int kUnfit = 571301;
constexpr int kNotText = 571303;

using Operations = ModuleTest;

// What the operations work on: a key with its certificate, or the null handles.
struct World : KeyWorld {
    PCCERT_CONTEXT alice = cert.get();
    CSPManager manager{"", 1};
    CAPIManager root;
    std::unique_ptr<TVKCspManager::Iterator> iterator;
    std::unique_ptr<TVKCspManager::Iterator> unfit{manager.getKeyCertReqIterator()};
    CRYPT_KEY_PROV_INFO info = infoOf(reference);
    OwnedStore memory{CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)};
    HCERTSTORE empty = memory.get();
    TVKASNNull attribute{TVKASNNotSecure};
    TVKASNValidity validity{TVKASNNotSecure};
    TVKASNAlgorithmID algorithm{TVKASNNotSecure};
    TVKKeyItem keyItem{materialOf(1024), TVKBuffer()};
    TVKCertItem item{derOf(alice), TVKBuffer()};
    TVKKeyCertItem pair{keyItem, item};
    TVKKeyCertReqItem request{keyItem, TVKBuffer(), TVKBuffer()};
    TVKBuffer data; // "before" each of them
    TVKString name;
    ULONG_PTR none = 0;
    DWORD keySpec = 0;
    bool admin = false;
};

// A platform call that fails; made without one, none does.
struct Failing {
    Failing() = default;

    template <typename Result, typename... Arguments>
    Failing(Result (*call)(Arguments...), long value, unsigned nth = 0)
        : arrange([=](PlatformCalls& calls) { calls.fail(call, value, nth); }), error(value) {}

    std::function<void(PlatformCalls&)> arrange = [](PlatformCalls&) {};
    long error = 0;
};

// A result as a number: 0 for null, empty and false. What is new goes.
template <typename Result>
int outcome(Result const& result) {
    if constexpr (requires { result.deleted; }) {
        return static_cast<int>(result.deleted + result.reserved);
    } else if constexpr (requires { result.c_str(); }) {
        return result.size() != 0;
    } else if constexpr (requires { result->pop_front(); }) {
        return static_cast<int>(std::unique_ptr<std::remove_pointer_t<Result>>(result)->size());
    } else if constexpr (std::is_pointer_v<Result>) {
        return std::unique_ptr<std::remove_pointer_t<Result>>(result) != nullptr;
    } else {
        return static_cast<int>(result);
    }
}

struct Row {
    template <typename Operation>
    Row(std::string name, int expected, Operation operation, std::string message = "", Failing what = {})
        : label(std::move(name)), result(expected), run([operation](World& world) {
              if constexpr (std::is_void_v<decltype(operation(world))>) {
                  operation(world);
                  return 0;
              } else {
                  return outcome(operation(world));
              }
          }),
          text(std::move(message)), failing(std::move(what)) {}

    std::string label;
    int result; // as `outcome` gives it, or the code of the exception
    std::function<int(World&)> run;
    std::string text; // of the exception, whole or, for the toolkit's own, its end
    Failing failing;
};

using Rows = std::vector<Row>;
using W = World&;

constexpr char kNoMemory[] = "The operating system ran out of memory";
constexpr char kNotLoaded[] = "The provider DLL file could not be loaded or failed to initialize.";
constexpr char kNotAdded[] = "Add certificate to personal certificate store fail. return values rc=0x";

Rows const globalRows = {
    {"CAPIGlobal::ctor", 0, [](World&) { CAPIGlobal const second; }},
    {"fini", 0, [](World&) { fini(); }},
    {"init", 0, [](World&) { init(); }},
    {"libraryFunction", 1, [](W w) { return static_cast<TVKCAPIManager*>(libraryFunction(&w)); }},
    {"libraryFunction", 578004, [](World&) { libraryFunction(nullptr); },
     "MS Crypto API only support on Windows 2000 with Service Pack 2", Failing(VerifyVersionInfoA, 1150)},
};

Rows const rootRows = {
    {"CAPIManager::getCspNameList()", 1, [](W w) { return new CAPIManager(w.root); }},
    {"duplicate", 1, [](W w) { return w.root.duplicate(); }},
    {"CAPIManager::getCspManager()", 1, [](W w) { return w.root.getCspManager("", 2); }},
    {"CAPIManager::getCspCount()", 1, [](W w) { return w.root.getCspCount() > 0; }},
};

Rows managerRows() {
    Rows rows = {
        {"CSPManager::ctor", 1, [](World&) { return new CSPManager("", 1); }},
        {"duplicate", 1, [](W w) { return w.manager.duplicate(); }},
        {"CSPManager::dtor", 0, [](W w) { CSPManager const copy(w.manager); }},
        {"gethCryptProv", 1, [](W w) { return w.manager.gethCryptProv() != 0; }},
        {"getSystemStore", 1, [](W w) { return w.manager.getSystemStore() != nullptr; }},
        {"getKeyContainerName", 0, [](W w) { return w.manager.getKeyContainerName(0); }},
        {"getCSPName", 1, [](W w) { return w.manager.getCSPName(); }},
        {"getCurrentCertificate", 0, [](W w) { return w.manager.getCurrentCertificate(); }},
        {"setCurrentCertificate", 0, [](W w) { w.manager.setCurrentCertificate(nullptr); }},
    };
    auto const open = [&](char const* name, int kind, int code, char const* text, Failing const& what) {
        auto const run = [=](World&) { CSPManager const made(name, static_cast<unsigned long>(kind)); };
        rows.emplace_back("CSPManager::ctor", code, run, text, what);
    };
    Failing const noLibrary(CryptAcquireContextA, NTE_PROV_DLL_NOT_FOUND);
    Failing const noInit(CryptAcquireContextA, NTE_PROVIDER_DLL_FAIL);
    Failing const noFlags(CryptAcquireContextA, NTE_BAD_FLAGS);
    Failing const noStore(CertOpenSystemStoreA, ERROR_NOT_ENOUGH_MEMORY);
    open("", 1, 578002, "The provider DLL file does not exist or is not on the current path.", noLibrary);
    open("Other", 2, 578001, "The provider DLL file does not exist or not on the current path", noLibrary);
    open(MS_ENHANCED_PROV_A, 1, 578001, kNotLoaded, noInit);
    open("Other", 2, 578001, "The dwFlags parameter has an invalid value.", noFlags);
    open("Other", 2, 578002, kNoMemory, noStore);
    open("Other", 1, 0, "", {});
    auto const add = [&](std::string const& operation, int expected, auto run, char const* text = "",
                         Failing const& what = {}) {
        rows.emplace_back("CSPManager::" + operation, expected, run, text, what);
    };
    add("getKeyIterator()", 1, [](W w) { return w.manager.getKeyIterator(); });
    add("getCertIterator()", 1, [](W w) { return w.manager.getCertIterator(); });
    add("getKeyCertIterator()", 1, [](W w) { return w.manager.getKeyCertIterator(); });
    add("getKeyCertReqIterator()", 1, [](W w) { return w.manager.getKeyCertReqIterator(); });
    add("getNextKeyItem()", 0, [](W w) { return w.manager.getNextKeyItem(*w.iterator); });
    add("getNextCertItem()", 1, [](W w) { return w.manager.getNextCertItem(*w.iterator); });
    add("getNextKeyCertItem()", 1, [](W w) { return w.manager.getNextKeyCertItem(*w.iterator); });
    add("getNextCertItem()", kUnfit, [](W w) { w.manager.getNextCertItem(*w.unfit); });
    add("getNextKeyCertItem()", kUnfit, [](W w) { w.manager.getNextKeyCertItem(*w.unfit); });
    add("getNextKeyCertReqItem()", 0, [](W w) { return w.manager.getNextKeyCertReqItem(*w.iterator); });
    add("isCertStoreWithAdminMode()", 0, [](W w) { return w.manager.isCertStoreWithAdminMode(); });
    add("isHardwareCSP()", 0, [](W w) { return w.manager.isHardwareCSP(); });
    add("updateItem(TVKStoreItem)", 0,
        [](W w) { return w.manager.updateItem(static_cast<TVKStoreItem&>(w.item), 0); });
    add("getTVKKRYAlgorithmFactory()", 1, [](W w) { return w.manager.getTVKKRYAlgorithmFactory(); });
    add(
        "createSelfSignCertificate()", 578009,
        [](W w) { w.manager.createSelfSignCertificate("", w.data, w.validity, w.algorithm, w.data); },
        "Create self sign certificate fail. return values rc=0x", noFlags);
    auto const addItem = [&](std::string const& kind, int inserted, int changed, auto item) {
        add(
            "insertItem(" + kind + ')', inserted, [=](W w) { return w.manager.insertItem(w.*item); },
            inserted == 0 ? "" : "certificate exist");
        add("updateItem(" + kind + ')', changed, [=](W w) { return w.manager.updateItem(w.*item, 0); });
        add("deleteItem(" + kind + ')', changed, [=](W w) { return w.manager.deleteItem(w.*item); });
    };
    auto const addIndex = [&](std::string const& kind, int found, auto index, int deleted = 0) {
        auto const addCall = [&](char const* call, int result, auto run) {
            add(call + ('(' + kind) + ')', result, run);
        };
        addCall("getItem", found, [=](W w) { return w.manager.getItem(index, w.attribute); });
        if constexpr (requires(World world) { world.manager.getItemCount(index, world.attribute); }) {
            addCall("getItemCount", found, [=](W w) { return w.manager.getItemCount(index, w.attribute); });
            addCall("deleteItems", deleted, [=](W w) { return w.manager.deleteItems(index, w.attribute); });
        } else {
            addCall("deleteItem", deleted, [=](W w) { return w.manager.deleteItem(index, w.attribute); });
        }
    };
    addItem("TVKKeyCertReqItem", 0, 0, &World::request);
    addItem("TVKKeyCertItem", 578009, 1, &World::pair);
    addItem("TVKCertItem", 578009, 1, &World::item);
    addItem("TVKKeyItem", 0, 0, &World::keyItem);
    addIndex("KeyCertReqUniqueIndex", 0, KeyCertReqUniqueIndexLabel);
    addIndex("KeyCertUniqueIndex", 0, KeyCertUniqueIndexLabel);
    addIndex("CertUniqueIndex", 0, CertUniqueIndexLabel);
    addIndex("KeyUniqueIndex", 0, KeyUniqueIndexLabel);
    addIndex("KeyCertReqMultiIndex", 0, KeyCertReqMultiIndexAll);
    addIndex("KeyCertMultiIndex", 1, KeyCertMultiIndexAll, 1);
    addIndex("CertMultiIndex", 1, CertMultiIndexAll, 1);
    addIndex("KeyMultiIndex", 0, KeyMultiIndexAll);
    return rows;
}

Rows capiUtilityRows() {
    Failing const noProperty(CertSetCertificateContextProperty, E_ACCESSDENIED);
    Failing const noWay(CryptAcquireCertificatePrivateKey, NTE_BAD_KEYSET);
    Failing const noKey(CryptGetUserKey, NTE_NO_KEY);
    Failing const noEncryption(CryptEncrypt, NTE_BAD_KEY, 2);
    Failing const noSize(CryptEncrypt, NTE_BAD_KEY, 1);
    Failing const noHash(CryptHashData, NTE_BAD_HASH_STATE);
    Failing const noSignature(CryptSignHashA, NTE_NO_KEY, 2);
    Failing const noStore(CertOpenStore, ERROR_NOT_ENOUGH_MEMORY, 1);
    Failing const noJoining(CertAddStoreToCollection, ERROR_NOT_ENOUGH_MEMORY);
    auto const deletion = [](long error) { return Failing(CertDeleteCertificateFromStore, error); };
    auto const remove = [](W w) {
        Capi::deleteCertificate(CertEnumCertificatesInStore(w.store.get(), nullptr));
    };
    auto const keyInCert = [](W w) {
        OwnedProvider provider;
        Capi::getKeyInCert(w.alice, provider.receive(), &w.none);
    };
    auto const encrypt = [](W w) { Capi::encryptUpdate(w.key.get(), w.data, w.data, true); };
    auto const name = [](W w) { return Capi::setCertFriendlyName(w.alice, "name"); };
    auto const sign = [](W w) { Capi::signFinal(w.hash.get(), w.data, 1); };
    constexpr char noRandom[] = "CryptGenRandom() return values rc=0x";
    constexpr char notGenerated[] = "CryptGenKey() return values rc=0x";
    constexpr char notEncrypted[] = "CryptEncrypt() return values rc=0x";
    constexpr char notDecrypted[] = "CryptDecrypt() return values rc=0x";
    constexpr char notSet[] = "CryptSetHashParam() return values rc=0x";
    constexpr char notNamed[] = "add certificate label fail";
    constexpr char noSuchKind[] = "We ONLY support to open certificate store with MY, UserDS, CA, ROOT";
    return {
        {"HandleError", 1, [](World&) { return Capi::HandleError(); }},
        {"getCSPHandle", 0, [](W w) { return Capi::getCSPHandle(&w.none, nullptr, "none", 1, 0); }},
        {"getProvParam", 0, [](W w) { return Capi::getProvParam(0, PP_NAME, w.name); }},
        {"getKeyParam", 0, [](W w) { return Capi::getKeyParam(0, KP_KEYLEN, w.data); }},
        {"getKeySizeInBits", 1024, [](W w) { return Capi::getKeySizeInBits(w.alice); }},
        {"compareCSPName", 0, [](W w) { return Capi::compareCSPName("x", w.alice); }},
        {"compareSubjetNameBlob", 0, [](W w) { return Capi::compareSubjetNameBlob(w.alice, w.data); }},
        {"generateRandomData", 578011, [](W w) { Capi::generateRandomData(0, w.data); }, noRandom},
        {"generateKey", 578012, [](W w) { Capi::generateKey(0, 1, 0, w.data); }, notGenerated},
        {"generateKeyPair", 578012, [](W w) { Capi::generateKeyPair(0, 1, 0, w.data); }, notGenerated},
        {"encryptUpdate", 578013, encrypt, notEncrypted, noEncryption},
        {"encryptUpdate", 578013, encrypt, notEncrypted, noSize},
        {"encryptFinal", 578013, [](W w) { Capi::encryptFinal(0, w.data, w.data); }, notEncrypted},
        {"decryptUpdate", 578014, [](W w) { Capi::decryptUpdate(0, w.data, w.data, false); }, notDecrypted},
        {"decryptFinal", 578014, [](W w) { Capi::decryptFinal(0, w.data, w.data); }, notDecrypted},
        {"signInit", 578015, [](W w) { Capi::signInit(0, CALG_SHA1, &w.none); }},
        {"signUpdate", 578015, [](W w) { Capi::signUpdate(0, w.data, false); }, notSet},
        {"signUpdate", 578015, [](W w) { Capi::signUpdate(w.hash.get(), w.data, true); }, "", noHash},
        {"signFinal", 578015, [](W w) { Capi::signFinal(0, w.data, 1); }},
        {"signFinal", 578015, sign, "", noSignature},
        {"verifyInit", 578016, [](W w) { Capi::verifyInit(0, CALG_SHA1, &w.none); }},
        {"verifyUpdate", 578016, [](W w) { Capi::verifyUpdate(0, w.data); }},
        {"verifyFinal", 578016, [](W w) { Capi::verifyFinal(w.hash.get(), w.data, w.key.get()); }},
        {"getKeyInCert", 578012, keyInCert, "CryptAcquireCertificatePrivateKey() return values rc=0x", noWay},
        {"getKeyInCert", 578012, keyInCert, "CryptGetUserKey() return values rc=0x", noKey},
        {"openCertStore", 578002, [](World&) { Capi::openCertStore(0, 4, nullptr); }, noSuchKind},
        {"openCertStore", 578002, [](W w) { Capi::openCertStore(0, 0, &w.admin); }, kNoMemory, noStore},
        {"openCertStore", 578002, [](W w) { Capi::openCertStore(0, 3, &w.admin); }, kNoMemory, noJoining},
        {"getNextCertificateInStore", 0, [](W w) { Capi::getNextCertificateInStore(w.empty, nullptr); }},
        {"findCertificateInStore", 0, [](W w) { Capi::findCertificateInStore(w.empty, 1, 0, 0, {}, {}); }},
        {"getNextPrivateKeyInStore", 0, [](W w) { Capi::getNextPrivateKeyInStore(w.empty, nullptr); }},
        {"isCertWithPrivateKey", 1, [](W w) { return Capi::isCertWithPrivateKey(w.alice, w.data); }},
        {"getLabel", 1, [](W w) { return Capi::getLabel(w.alice, 4, 0, w.data); }},
        {"getCertFriendlyName", 0, [](W w) { return Capi::getCertFriendlyName(w.alice, w.data); }},
        {"setCertFriendlyName", 578006, name, notNamed, noProperty},
        {"setCertFriendlyName", 578006, [](W w) { Capi::setCertFriendlyName(w.alice, "\xFF"); }, notNamed},
        {"setCertFriendlyName", 1, name},
        {"getPublicKeyInfo", 0, [](W w) { return Capi::getPublicKeyInfo(0, 1, w.data); }},
        {"convertWildChar", kNotText, [](World&) { Capi::convertWildChar("\xFF"); }},
        {"deleteCertificate", 578008, remove,
         "the store was opened as read-only and a delete operation is not allowed", deletion(E_ACCESSDENIED)},
        {"deleteCertificate", 578010, remove, "delete certificate", deletion(ERROR_CANCELLED)},
        {"deleteCertificate", 578008, remove, "failed in CertDeleteCertificate()",
         deletion(CRYPT_E_NOT_FOUND)},
        {"addPrivateKey", 578006, [](World&) { Capi::addPrivateKey(TVKKRYKey()); },
         "Import private key fail. return values rc=0x80090005"},
        {"cryptResolvehCryptProvFunc", 578012,
         [](W w) { Capi::cryptResolvehCryptProvFunc(nullptr, &w.none, nullptr); },
         "CryptAcquireContext() return values rc=0x", Failing(CryptAcquireContextA, NTE_BAD_FLAGS)},
        {"voidResolveFunc", 0, [](World&) { return Capi::voidResolveFunc(); }},
        {"addCertificate", 578010,
         [](W w) { Capi::addCertificate(w.manager, 1, derOf(w.alice), "", 4, TVKKRYKey(), false); },
         "add certificate", Failing(CertAddEncodedCertificateToStore, ERROR_CANCELLED)},
    };
}

Rows cardRows() {
    Failing const noMemory(CertOpenStore, ERROR_NOT_ENOUGH_MEMORY);
    Failing const noKey(CryptGetUserKey, NTE_NO_KEY);
    Failing const noName(CertSetCertificateContextProperty, E_ACCESSDENIED, 2);
    Failing const noInfo(CertSetCertificateContextProperty, E_ACCESSDENIED, 3);
    Failing const noAdding(CertAddCertificateContextToStore, E_ACCESSDENIED);
    auto const read = [](World&) {
        return OwnedStore(Capi::getCertFromSmartCard(MS_ENHANCED_PROV_A)).isSet();
    };
    auto const add = [](W w) {
        wchar_t name[] = L"Alice";
        CRYPT_DATA_BLOB blob{sizeof name, reinterpret_cast<BYTE*>(name)};
        CertSetCertificateContextProperty(w.alice, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob);
        return Capi::addCertToMemoryStore(w.provider.get(), 1, w.alice->pbCertEncoded, w.alice->cbCertEncoded,
                                          w.empty);
    };
    auto const write = [](W w) {
        HCRYPTPROV handle = w.provider.get();
        return Capi::addCertToSmartCard(&handle, w.alice);
    };
    constexpr char notRead[] = "Fail to get Key from key container with rc=0x";
    return {
        {"getCertFromSmartCard", 1, read},
        {"getCertFromSmartCard", 578002, read, "A memory store create fail", noMemory},
        {"getCertFromSmartCard", 578002, read, notRead, Failing(CryptAcquireContextA, NTE_FAIL)},
        {"getCertFromSmartCard", 578002, read, notRead, Failing(CryptGetUserKey, NTE_FAIL)},
        {"getCertFromKey", 0, [](W w) { return Capi::getCertFromKey(0, 1, nullptr, &w.keySpec); }},
        {"addCertToMemoryStore", 578006, [](W w) { Capi::addCertToMemoryStore(0, 1, nullptr, 0, w.empty); },
         "create certificate context fail"},
        {"addCertToMemoryStore", 1, add},
        {"addCertToMemoryStore", 578006, add, "add certificate label fail", noName},
        {"addCertToMemoryStore", 578006, add, "fail to set key provider information", noInfo},
        {"addCertToMemoryStore", 578006, add, "add certificate to cert store fail", noAdding},
        {"addCertToSmartCard", 1, write},
        {"addCertToSmartCard", 578012, write, "CryptGetUserKey() return values rc=0x", noKey},
        {"addCertToSmartCard", 578012, write, "CryptSetKeyParam() return values rc=0x",
         Failing(CryptSetKeyParam, NTE_PERM)},
    };
}

Rows untracedRows() {
    auto const sign = [](W w) {
        Capi::createSelfSignCertificate(nameOf(w.alice), &w.info, nullptr, nullptr);
    };
    return {
        {"", 578006, sign, "create self sign certificate fail. return values rc=0x",
         Failing(CertCreateSelfSignCertificate, NTE_BAD_ALGID)},
        {"", 578006, sign, "get Key Provider fail. return values rc=0x",
         Failing(CryptAcquireCertificatePrivateKey, NTE_BAD_KEYSET)},
        {"", 578006, sign, kNotAdded, Failing(CertAddCertificateContextToStore, E_ACCESSDENIED)},
        {"", 578006, sign, kNotAdded, Failing(CertOpenSystemStoreA, ERROR_FILE_CORRUPT)},
        {"", 1, [](W w) { return w.root.isKindOf(w.root.getInstanceName()); }},
    };
}

Rows cspUtilityRows() {
    Failing const noProvider(CryptAcquireContextA, NTE_KEYSET_NOT_DEF);
    Failing const noKey(CryptGetUserKey, NTE_NO_KEY);
    Failing const noExport(CryptExportPKCS8, NTE_FAIL);
    constexpr char notOpened[] = "CryptAcquireContext() return value rc=0x";
    constexpr char missing[] = "certPtr is NULL";
    auto const real = [](W w) { Csp::convertRealKey(w.reference, w.data); };
    return {
        {"convertLabel", 2, [](World&) { return Csp::convertLabel(TVKBuffer()).getLength(); }},
        {"compareLabel", 1, [](W w) { return Csp::compareLabel(w.data, w.data); }},
        {"makeDefaultLabel", 1, [](World&) { return Csp::makeDefaultLabel(""); }},
        {"makeCertLabel", 1, [](W w) { return Csp::makeCertLabel(w.alice, w.data); }},
        {"getCertId", 1, [](W w) { return Csp::getCertId(w.alice, w.data); }},
        {"getCertSeriaNumber", 1, [](W w) { return Csp::getCertSeriaNumber(w.alice, w.data); }},
        {"getCapiKey", 0, [](W w) { return Csp::getCapiKey({}, w.empty, &w.none, &w.none); }},
        {"getCapiKeyProv", 578012, [](W w) { Csp::getCapiKeyProv({}, &w.none, &w.keySpec, &w.none, false); },
         notOpened},
        {"convertRealKey", 578012, real, notOpened, noProvider},
        {"convertRealKey", 578012, real, "CryptGetUserKey() return value rc=0x", noKey},
        {"convertRealKey", 578012, real, "CryptExportPKCS8() return value rc=0x", noExport},
        {"reverseEndian", 0, [](World&) { return Csp::reverseEndian(TVKBuffer()).getLength(); }},
        {"makeCertItem", 571002, [](World&) { Csp::makeCertItem(nullptr); }, missing},
        {"makeKeyCertItem", 571002, [](World&) { Csp::makeKeyCertItem(nullptr); }, missing},
        {"makeKeyItem", 571002, [](W w) { Csp::makeKeyItem(w.manager, nullptr); }, missing},
        {"makeKeyItem", 578012, [](World&) { Csp::makeKeyItem(0, 1, false, nullptr); },
         "CryptGetUserKey() return values rc=0x"},
    };
}

class Recorder : public TVKTraceSink {
public:
    void record(TVKTraceRecord const& record) override { records.push_back(record); }

    // The first is of this operation, unless there is to be none, and they are pairs, one inside the other.
    void expect(char const* file, std::string const& label) const {
        ASSERT_EQ(records.empty(), file == nullptr);
        EXPECT_TRUE(file == nullptr || (label == records[0].label && std::string(file) == records[0].file));
        std::vector<char const*> open;
        for (TVKTraceRecord const& record : records) {
            EXPECT_EQ(record.component, 2048U);
            if (record.kind == TVKTraceRecord::Kind::entry) {
                EXPECT_EQ(record.level, 0x80000000U);
                EXPECT_GT(record.line, 0U);
                open.push_back(record.label);
                continue;
            }
            ASSERT_FALSE(open.empty());
            EXPECT_STREQ(record.label, open.back());
            open.pop_back();
        }
        EXPECT_TRUE(open.empty());
    }

private:
    std::vector<TVKTraceRecord> records;
};

} // namespace

TEST_F(Operations, AreTracedByNameAndGiveWhatTheyHaveOrFailAsPublished) {
    std::tuple<char const*, char const*, Rows> const files[] = {
        {"./capi/src/capiglobal", "", globalRows},
        {"./capi/src/capimanager", "", rootRows},
        {kCspManager, "", managerRows()},
        {kManagerUtility, "CapiManagerUtility::", capiUtilityRows()},
        {kCspUtility, "CspManagerUtility::", cspUtilityRows()},
        {kCspUtility, "CapiManagerUtility::", cardRows()},
        {kManagerUtility, nullptr, untracedRows()},
    };
    for (auto const& [file, prefix, rows] : files) {
        for (Row const& row : rows) {
            std::string const label = (prefix == nullptr ? "" : prefix) + row.label;
            SCOPED_TRACE(label + ' ' + row.text);
            ScratchProfile const ownProfile;
            World world;
            world.data = buffer("before");
            world.iterator.reset(world.manager.getCertIterator());
            std::size_t const before = WincryptLiveObjectCount();
            row.failing.arrange(calls);
            Recorder recorder;
            int result = 0;
            TVKTrace::s_defaultTracePtr->enable(2048, recorder);
            Raised const raised = raisedBy([&, &operation = row.run] { result = operation(world); });
            TVKTrace::s_defaultTracePtr->disable();
            calls.reset();
            world.iterator.reset();
            world.manager.releaseMatch(nullptr);
            EXPECT_EQ(WincryptLiveObjectCount(), before) << "what was opened is closed again";
            recorder.expect(prefix == nullptr ? nullptr : file, label);
            Raised expected = raised;
            if (row.result >= 578000) {
                expected = capi(file, row.result, row.text);
            } else if (row.result >= 571000) {
                expected.type = "TVKException";
                expected.file = row.result == kNotText ? "./capi/src/widetext" : file;
            }
            if (row.text.ends_with("rc=0x")) {
                auto const given = static_cast<DWORD>(row.failing.error);
                expected.systemCode = given == 0 ? raised.systemCode.value_or(given) : given;
            }
            EXPECT_EQ(raised, expected);
            EXPECT_EQ(raised.type.empty() ? result : raised.code, row.result);
            EXPECT_TRUE(raised.message.ends_with(row.text)) << raised;
            EXPECT_TRUE(raised.type.empty() || text(world.data) == "before");
        }
    }
    Recorder other;
    TVKTrace::s_defaultTracePtr->enable(~2048UL, other);
    CAPIManager().getCspCount();
    TVKTrace::s_defaultTracePtr->disable();
    other.expect(nullptr, "");
}

TEST_F(Operations, FailuresOnTheWayLeaveNothingOpen) {
    calls.fail(CertAddStoreToCollection, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(raisedBy([] { CSPManager const made("", 3); }), capi(kManagerUtility, 578002, kNoMemory));
    calls.fail(CryptEnumProvidersA, ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(raisedBy([] { libraryFunction(nullptr); }),
              capi("./capi/src/capimanager", 578001, "No Cryptographic Service Provider registered"));
}

TEST_F(Operations, TheModuleRegistersOnceAndIsRemovedByItsFunction) {
    { CAPIGlobal const second; }
    EXPECT_EQ(TVKLibraryManager::getLibEntry("tvkbridge"), &libraryFunction) << "the first one still lives";
    fini();
    EXPECT_EQ(TVKLibraryManager::getLibEntry("tvkbridge"), nullptr);
    init();
    EXPECT_EQ(TVKLibraryManager::getLibEntry("tvkbridge"), &libraryFunction);
}

TEST_F(Operations, ClassesKnowTheirNames) {
    auto const namesOf = [](auto&& object) {
        std::string found = object.getInstanceName().c_str();
        for (char const* name :
             {"CAPIManager", "TVKCAPIManager", "TVKCspManager", "CSPManager", "CspManagerKeyIterator",
              "CspManagerCertIterator", "CspManagerKeyCertIterator", "capimanager", "Iterator", ""}) {
            found += object.isKindOf(name) ? std::string(" ") + name : "";
        }
        return found;
    };
    EXPECT_EQ(namesOf(CAPIManager()), "CAPIManager CAPIManager TVKCAPIManager");
    EXPECT_EQ(namesOf(CSPManager("", 1)), "TVKCspManager TVKCspManager");
    EXPECT_EQ(namesOf(CspManagerKeyIterator()), "CspManagerKeyIterator CspManagerKeyIterator");
    EXPECT_EQ(namesOf(CspManagerCertIterator()), "CspManagerCertIterator CspManagerCertIterator");
    EXPECT_EQ(namesOf(CspManagerKeyCertIterator()), "CspManagerKeyCertIterator CspManagerKeyCertIterator");
}

#include "capiglobal.h"
#include "capimanager.h"
#include "cspmanager.h"
#include "cspmanagerutility.h"
#include "module_fixture.h"

#include <tvkcore/asn/tvkasnx509certificate.h>
#include <tvkcore/base/tvkexception.h>
#include <tvkcore/base/tvklibrarymanager.h>
#include <tvkcore/base/tvktrace.h>

#include <algorithm>
#include <type_traits>
#include <vector>

using namespace capi_tests;

namespace {

constexpr char kGlobal[] = "./capi/src/capiglobal";
constexpr char kCapiManager[] = "./capi/src/capimanager";
constexpr int kNotAvailable = 571401;

using Operations = ModuleTest;
using Capi = CapiManagerUtility;
using Csp = CspManagerUtility;

class Recorder : public TVKTraceSink {
public:
    void record(TVKTraceRecord const& record) override { records.push_back(record); }
    std::vector<TVKTraceRecord> records;
};

// What the operations work on. Where only the trace matters they get the null handles, and fail.
struct World {
    CSPManager manager{"", 1};
    std::unique_ptr<TVKCspManager> copy;
    CAPIManager root;
    OwnedCertificate owned = certificate("Alice");
    PCCERT_CONTEXT cert = owned.get();
    HCERTSTORE store = manager.getSystemStore();
    std::unique_ptr<TVKCspManager::Iterator> iterator{manager.getCertIterator()};
    TVKASNNull attribute{TVKASNNotSecure};
    TVKASNValidity validity{TVKASNNotSecure};
    TVKASNAlgorithmID algorithm{TVKASNNotSecure};
    TVKKeyItem key{TVKKRYKey(), TVKBuffer()};
    TVKCertItem item{TVKBuffer(), TVKBuffer()};
    TVKKeyCertItem pair{key, item};
    TVKKeyCertReqItem request{key, TVKBuffer(), TVKBuffer()};
    TVKBuffer data;
    TVKString name;
    HCRYPTPROV provider = 0;
    HCRYPTKEY nokey = 0;
    HCRYPTHASH hash = 0;
    DWORD keySpec = 0;
};

// A result as a number: 0 for null, empty and false.
template <typename Result>
int outcome(Result result) {
    if constexpr (requires { result->pop_front(); }) {
        return static_cast<int>(std::unique_ptr<std::remove_pointer_t<Result>>(result)->size());
    } else if constexpr (std::is_same_v<Result, PCCERT_CONTEXT>) {
        return OwnedCertificate(result).isSet();
    } else if constexpr (std::is_pointer_v<Result> && !std::is_void_v<std::remove_pointer_t<Result>>) {
        return std::unique_ptr<std::remove_pointer_t<Result>>(result) != nullptr;
    } else if constexpr (std::is_pointer_v<Result>) {
        return result != nullptr;
    } else if constexpr (requires { result.deleted; }) {
        return static_cast<int>(result.deleted + result.reserved);
    } else if constexpr (requires { result.size(); }) {
        return result.size() != 0;
    } else {
        return static_cast<int>(result);
    }
}

struct Row {
    template <typename Operation>
    Row(char const* path, std::string const& name, int expected, Operation operation)
        : file(path), label(name), result(expected), run([operation](World& world) {
              if constexpr (std::is_void_v<decltype(operation(world))>) {
                  operation(world);
                  return 0;
              } else {
                  return outcome(operation(world));
              }
          }) {}

    char const* file; // null where nothing is traced
    std::string label;
    int result; // as `outcome` gives it, or the code of the exception
    std::function<int(World&)> run;
};

using Rows = std::vector<Row>;

Rows moduleRows() {
    return {
        {kGlobal, "CAPIGlobal::ctor", 0, [](World&) { CAPIGlobal const second; }},
        {kGlobal, "fini", 0, [](World&) { fini(); }},
        {kGlobal, "init", 0, [](World&) { init(); }},
        {kGlobal, "libraryFunction", 1,
         [](World& w) { return static_cast<CAPIManager*>(libraryFunction(&w)); }},
        {kManagerUtility, "CapiManagerUtility::enumProviders", 1, [](World&) { return new CAPIManager; }},
        {kCapiManager, "CAPIManager::getCspNameList()", 1, [](World& w) { return new CAPIManager(w.root); }},
        {kCapiManager, "duplicate", 1, [](World& w) { return w.root.duplicate(); }},
        {kCapiManager, "CAPIManager::getCspManager()", 1,
         [](World& w) { return w.root.getCspManager("", 2); }},
        {kCapiManager, "CAPIManager::getCspCount()", 1, [](World& w) { return w.root.getCspCount() > 0; }},
        {nullptr, "isKindOf", 1, [](World& w) { return w.root.isKindOf("CAPIManager"); }},
        {nullptr, "getInstanceName", 1, [](World& w) { return w.root.getInstanceName(); }},
    };
}

Rows managerRows() {
    auto const plain = [](std::string const& label, int expected, auto operation) {
        return Row(kCspManager, label, expected, operation);
    };
    auto const row = [=](std::string const& name, int expected, auto operation) {
        return plain("CSPManager::" + name, expected, operation);
    };
    return {
        row("ctor", 1, [](World&) { return new CSPManager("", 1); }),
        {nullptr, "copy", 0, [](World& w) { w.copy = std::make_unique<CSPManager>(w.manager); }},
        row("dtor", 0, [](World& w) { w.copy.reset(); }),
        plain("duplicate", 1, [](World& w) { return w.manager.duplicate(); }),
        plain("gethCryptProv", 1, [](World& w) { return w.manager.gethCryptProv() != 0; }),
        plain("getSystemStore", 1, [](World& w) { return w.manager.getSystemStore(); }),
        plain("getKeyContainerName", 0, [](World& w) { return w.manager.getKeyContainerName(0); }),
        row("getKeyIterator()", 1, [](World& w) { return w.manager.getKeyIterator(); }),
        row("getCertIterator()", 1, [](World& w) { return w.manager.getCertIterator(); }),
        row("getKeyCertIterator()", 1, [](World& w) { return w.manager.getKeyCertIterator(); }),
        row("getKeyCertReqIterator()", 1, [](World& w) { return w.manager.getKeyCertReqIterator(); }),
        row("getNextKeyItem()", 0, [](World& w) { return w.manager.getNextKeyItem(*w.iterator); }),
        row("getNextCertItem()", 0, [](World& w) { return w.manager.getNextCertItem(*w.iterator); }),
        row("getNextKeyCertItem()", 0, [](World& w) { return w.manager.getNextKeyCertItem(*w.iterator); }),
        row("getNextKeyCertReqItem()", 0,
            [](World& w) { return w.manager.getNextKeyCertReqItem(*w.iterator); }),
        row("updateItem(TVKStoreItem)", 0,
            [](World& w) { return w.manager.updateItem(static_cast<TVKStoreItem&>(w.item), 0); }),
        row("getTVKKRYAlgorithmFactory()", kNotAvailable,
            [](World& w) { return w.manager.getTVKKRYAlgorithmFactory(); }),
        row("createSelfSignCertificate()", kNotAvailable,
            [](World& w) {
                return w.manager.createSelfSignCertificate("", w.data, w.validity, w.algorithm, w.data);
            }),
        plain("getCSPName", 1, [](World& w) { return w.manager.getCSPName(); }),
        plain("getCurrentCertificate", 0, [](World& w) { return w.manager.getCurrentCertificate(); }),
        plain("setCurrentCertificate", 0, [](World& w) { w.manager.setCurrentCertificate(nullptr); }),
        row("isCertStoreWithAdminMode()", 0, [](World& w) { return w.manager.isCertStoreWithAdminMode(); }),
        row("isHardwareCSP()", 0, [](World& w) { return w.manager.isHardwareCSP(); }),
        {nullptr, "isKindOf", 1, [](World& w) { return w.manager.isKindOf("TVKCspManager"); }},
        {nullptr, "getInstanceName", 1, [](World& w) { return w.manager.getInstanceName(); }},
    };
}

// The operations that each kind of item and index has. Those on key items and requests give nothing.
template <typename Operation>
void add(Rows& rows, std::string const& operation, std::string const& of, int expected, Operation run) {
    rows.emplace_back(kCspManager, "CSPManager::" + operation + '(' + of + ')', expected, run);
}

template <typename Item>
void addItem(Rows& rows, std::string const& name, int expected, Item World::*item) {
    add(rows, "insertItem", name, expected, [=](World& w) { return w.manager.insertItem(w.*item); });
    add(rows, "updateItem", name, expected, [=](World& w) { return w.manager.updateItem(w.*item, 0); });
    add(rows, "deleteItem", name, expected, [=](World& w) { return w.manager.deleteItem(w.*item); });
}

template <typename Index>
void addIndex(Rows& rows, std::string const& name, int expected, Index index) {
    add(rows, "getItem", name, expected, [=](World& w) { return w.manager.getItem(index, w.attribute); });
    if constexpr (requires(World & w) { w.manager.deleteItem(index, w.attribute); }) {
        add(rows, "deleteItem", name, expected,
            [=](World& w) { return w.manager.deleteItem(index, w.attribute); });
    } else {
        add(rows, "getItemCount", name, expected,
            [=](World& w) { return w.manager.getItemCount(index, w.attribute); });
        add(rows, "deleteItems", name, expected,
            [=](World& w) { return w.manager.deleteItems(index, w.attribute); });
    }
}

Rows itemRows() {
    Rows rows;
    addItem(rows, "TVKKeyCertReqItem", 0, &World::request);
    addItem(rows, "TVKKeyCertItem", kNotAvailable, &World::pair);
    addItem(rows, "TVKCertItem", kNotAvailable, &World::item);
    addItem(rows, "TVKKeyItem", 0, &World::key);
    addIndex(rows, "KeyCertReqUniqueIndex", 0, KeyCertReqUniqueIndexLabel);
    addIndex(rows, "KeyCertUniqueIndex", kNotAvailable, KeyCertUniqueIndexLabel);
    addIndex(rows, "CertUniqueIndex", kNotAvailable, CertUniqueIndexLabel);
    addIndex(rows, "KeyUniqueIndex", 0, KeyUniqueIndexLabel);
    addIndex(rows, "KeyCertReqMultiIndex", 0, KeyCertReqMultiIndexAll);
    addIndex(rows, "KeyCertMultiIndex", kNotAvailable, KeyCertMultiIndexAll);
    addIndex(rows, "CertMultiIndex", kNotAvailable, CertMultiIndexAll);
    addIndex(rows, "KeyMultiIndex", 0, KeyMultiIndexAll);
    return rows;
}

Rows capiUtilityRows() {
    auto const row = [](char const* name, int expected, auto operation) {
        return Row(kManagerUtility, std::string("CapiManagerUtility::") + name, expected, operation);
    };
    return {
        row("HandleError", 1, [](World&) { return Capi::HandleError(); }),
        row("getCSPHandle", 0,
            [](World& w) { return Capi::getCSPHandle(&w.provider, nullptr, "none", 1, 0); }),
        row("getProvParam", 0, [](World& w) { return Capi::getProvParam(0, PP_NAME, w.name); }),
        row("getKeyParam", 0, [](World& w) { return Capi::getKeyParam(0, KP_KEYLEN, w.data); }),
        row("getKeySizeInBits", 1024, [](World& w) { return Capi::getKeySizeInBits(w.cert); }),
        row("compareCSPName", 0, [](World& w) { return Capi::compareCSPName("x", w.cert); }),
        row("compareSubjetNameBlob", 0, [](World& w) { return Capi::compareSubjetNameBlob(w.cert, w.data); }),
        row("generateRandomData", 578011, [](World& w) { return Capi::generateRandomData(0, w.data); }),
        row("generateKey", 578012, [](World& w) { return Capi::generateKey(0, 1, 0, w.data); }),
        row("generateKeyPair", 578012, [](World& w) { return Capi::generateKeyPair(0, 1, 0, w.data); }),
        row("encryptUpdate", 578013, [](World& w) { return Capi::encryptUpdate(0, w.data, w.data, false); }),
        row("encryptFinal", 578013, [](World& w) { return Capi::encryptFinal(0, w.data, w.data); }),
        row("decryptUpdate", 578014, [](World& w) { return Capi::decryptUpdate(0, w.data, w.data, false); }),
        row("decryptFinal", 578014, [](World& w) { return Capi::decryptFinal(0, w.data, w.data); }),
        row("signInit", 578015, [](World& w) { return Capi::signInit(0, CALG_SHA1, &w.hash); }),
        row("signUpdate", 578015, [](World& w) { return Capi::signUpdate(0, w.data, false); }),
        row("signFinal", 578015, [](World& w) { return Capi::signFinal(0, w.data, 1); }),
        row("verifyInit", 578016, [](World& w) { return Capi::verifyInit(0, CALG_SHA1, &w.hash); }),
        row("verifyUpdate", 578016, [](World& w) { return Capi::verifyUpdate(0, w.data); }),
        row("verifyFinal", 578016, [](World& w) { return Capi::verifyFinal(0, w.data, 0); }),
        row("getKeyInCert", 578012,
            [](World& w) { return Capi::getKeyInCert(w.cert, &w.provider, &w.nokey); }),
        row("openCertStore", 578002, [](World&) { return Capi::openCertStore(0, 4, nullptr); }),
        row("getNextCertificateInStore", 0,
            [](World& w) { return Capi::getNextCertificateInStore(w.store, nullptr); }),
        row("findCertificateInStore", 0,
            [](World& w) { return Capi::findCertificateInStore(w.store, 0x10001, 0, 0, nullptr, nullptr); }),
        row("getNextPrivateKeyInStore", 0,
            [](World& w) { return Capi::getNextPrivateKeyInStore(w.store, nullptr); }),
        row("isCertWithPrivateKey", 0, [](World& w) { return Capi::isCertWithPrivateKey(w.cert, w.data); }),
        row("getLabel", 1, [](World& w) { return Capi::getLabel(w.cert, 4, 0, w.data); }),
        row("getCertFriendlyName", 0, [](World& w) { return Capi::getCertFriendlyName(w.cert, w.data); }),
        row("setCertFriendlyName", 1, [](World& w) { return Capi::setCertFriendlyName(w.cert, "name"); }),
        row("getPublicKeyInfo", 0, [](World& w) { return Capi::getPublicKeyInfo(0, 1, w.data); }),
        row("convertWildChar", 571303, [](World&) { return Capi::convertWildChar("\xFF") != nullptr; }),
        row("deleteCertificate", 578008,
            [](World&) { return Capi::deleteCertificate(certificate("B").release()); }),
        {nullptr, "createSelfSignCertificate", 578006,
         [](World& w) { return Capi::createSelfSignCertificate(w.data, nullptr, nullptr, nullptr); }},
    };
}

Rows cspUtilityRows() {
    auto const row = [](char const* name, int expected, auto operation) {
        return Row(kCspUtility, std::string("CspManagerUtility::") + name, expected, operation);
    };
    return {
        row("convertLabel", 2, [](World&) { return Csp::convertLabel(TVKBuffer()).getLength(); }),
        row("compareLabel", 1, [](World& w) { return Csp::compareLabel(w.data, w.data); }),
        row("makeDefaultLabel", 1, [](World&) { return Csp::makeDefaultLabel(""); }),
        row("makeCertLabel", 1, [](World& w) { return Csp::makeCertLabel(w.cert, w.data); }),
        row("getCertId", 1, [](World& w) { return Csp::getCertId(w.cert, w.data); }),
        row("getCertSeriaNumber", 1, [](World& w) { return Csp::getCertSeriaNumber(w.cert, w.data); }),
        row("getCapiKey", 0, [](World& w) { return Csp::getCapiKey({}, w.store, &w.provider, &w.nokey); }),
        row("getCapiKeyProv", 578012,
            [](World& w) { Csp::getCapiKeyProv({}, &w.provider, &w.keySpec, &w.nokey, false); }),
        row("convertRealKey", 578012, [](World& w) { return Csp::convertRealKey({}, w.data); }),
        row("reverseEndian", 0, [](World&) { return Csp::reverseEndian(TVKBuffer()).getLength(); }),
        row("makeCertItem", 571002, [](World&) { return Csp::makeCertItem(nullptr); }),
        row("makeKeyCertItem", 1, [](World& w) { return Csp::makeKeyCertItem(w.cert); }),
        row("makeKeyItem", 578012, [](World&) { return Csp::makeKeyItem(0, 1, false, nullptr); }),
        row("makeKeyItem", 1, [](World& w) { return Csp::makeKeyItem(w.manager, w.cert); }),
    };
}

int outcomeOf(Row const& row, World& world) {
    try {
        return row.run(world);
    } catch (TVKException const& failure) {
        return failure.getCode();
    }
}

// Entries and exits in pairs, one inside the other.
void expectPaired(std::vector<TVKTraceRecord> const& records) {
    std::vector<TVKTraceRecord> open;
    for (TVKTraceRecord const& record : records) {
        EXPECT_EQ(record.component, 2048U);
        if (record.kind == TVKTraceRecord::Kind::entry) {
            EXPECT_EQ(record.level, 0x80000000U);
            EXPECT_GT(record.line, 0U);
            open.push_back(record);
            continue;
        }
        ASSERT_FALSE(open.empty());
        EXPECT_STREQ(record.label, open.back().label);
        open.pop_back();
    }
    EXPECT_TRUE(open.empty());
}

} // namespace

TEST_F(Operations, AreTracedByNameAndGiveWhatTheyHave) {
    World world;
    for (Rows const& rows : {moduleRows(), managerRows(), itemRows(), capiUtilityRows(), cspUtilityRows()}) {
        for (Row const& row : rows) {
            SCOPED_TRACE(row.label);
            Recorder recorder;
            TVKTrace::s_defaultTracePtr->enable(2048, recorder);
            int const result = outcomeOf(row, world);
            TVKTrace::s_defaultTracePtr->disable();
            EXPECT_EQ(result, row.result);
            ASSERT_EQ(recorder.records.empty(), row.file == nullptr);
            if (row.file != nullptr) {
                EXPECT_EQ(recorder.records.front().label, row.label);
                EXPECT_STREQ(recorder.records.front().file, row.file);
                expectPaired(recorder.records);
            }
        }
    }
}

TEST_F(Operations, WriteNothingWhereTheTraceIsOff) {
    World world;
    Recorder recorder;
    TVKTrace::s_defaultTracePtr->enable(2048, recorder);
    TVKTrace::s_defaultTracePtr->disable();
    world.manager.getCSPName();
    TVKTrace::s_defaultTracePtr->enable(~2048UL, recorder);
    world.manager.getCSPName();
    TVKTrace::s_defaultTracePtr->disable();
    EXPECT_TRUE(recorder.records.empty());
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
    World world;
    std::unique_ptr<TVKCspManager::Iterator> const key(world.manager.getKeyIterator());
    std::unique_ptr<TVKCspManager::Iterator> const keyCert(world.manager.getKeyCertIterator());
    std::unique_ptr<TVKCspManager::Iterator> const request(world.manager.getKeyCertReqIterator());
    auto const expectNames = [](auto& object, std::vector<std::string> const& expected) {
        SCOPED_TRACE(expected.front());
        EXPECT_EQ(object.getInstanceName().view(), expected.front());
        std::vector<std::string> kinds;
        for (char const* name :
             {"CAPIManager", "TVKCAPIManager", "TVKCspManager", "CSPManager", "CspManagerKeyIterator",
              "CspManagerCertIterator", "CspManagerKeyCertIterator", "capimanager", "Iterator", ""}) {
            if (object.isKindOf(name)) {
                kinds.emplace_back(name);
            }
        }
        EXPECT_EQ(kinds, expected);
    };
    expectNames(world.root, {"CAPIManager", "TVKCAPIManager"});
    expectNames(world.manager, {"TVKCspManager"});
    expectNames(*key, {"CspManagerKeyIterator"});
    expectNames(*world.iterator, {"CspManagerCertIterator"});
    expectNames(*keyCert, {"CspManagerKeyCertIterator"});
    expectNames(*request, {"CspManagerKeyIterator"});
}

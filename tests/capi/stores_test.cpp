#include "cspmanager.h"
#include "cspmanagerutility.h"
#include "module_fixture.h"
#include "support/environment_variable.h"
#include "support/run_program.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

using namespace capi_tests;
using namespace test_support;

namespace {

class Stores : public ModuleTest {
protected:
    // The user's store of a manager with admin mode, joined to a machine store that holds nothing.
    void joinEmptyMachineStore() {
        auto const collection = [](LPCSTR, DWORD, HCRYPTPROV, DWORD, void const*) {
            return CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr);
        };
        calls.answer(CertOpenStore, collection, 2);
    }
};

std::string nameOf(TVKString const& label) {
    std::string const whole(label.view());
    return whole.substr(0, whole.find("##"));
}

// What the walk gives until its end, by the names in the labels; "!" for an exception.
template <typename Item>
std::vector<std::string> walked(CSPManager& manager, TVKCspManager::Iterator& iterator,
                                Item* (CSPManager::*next)(TVKCspManager::Iterator&)) {
    std::vector<std::string> names;
    for (int step = 0; step < 20; ++step) {
        try {
            std::unique_ptr<Item> const item((manager.*next)(iterator));
            if (item == nullptr) {
                return names;
            }
            names.push_back(nameOf(item->getLabelAsString()));
        } catch (std::exception const&) {
            names.emplace_back("!");
        }
    }
    names.emplace_back("no end");
    return names;
}

std::vector<std::string> walkedCerts(CSPManager& manager) {
    std::unique_ptr<TVKCspManager::Iterator> const iterator(manager.getCertIterator());
    return walked(manager, *iterator, &CSPManager::getNextCertItem);
}

using Names = std::vector<std::string>;

} // namespace

TEST_F(Stores, EachKindOpensItsStoreInItsScope) {
    struct Row {
        unsigned long kind;
        bool machineOpens;
        Names expected;
        bool admin;
    };
    Row const rows[] = {
        {0, true, {"10 0x10001 0x14000 CA", "10 0x10001 0x24000 CA", "joined 1 0"}, true},
        {0, false, {"10 0x10001 0x14000 CA", "10 0x10001 0x24000 CA"}, false},
        {1, true, {"MY"}, false},
        {2, true, {"UserDS"}, false},
        {3, true, {"10 0x10001 0x14000 ROOT", "10 0x10001 0x24000 ROOT", "joined 1 0"}, true},
        {3, false, {"10 0x10001 0x14000 ROOT", "10 0x10001 0x24000 ROOT"}, false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.kind);
        Names opened;
        std::vector<HCERTSTORE> handles;
        calls.answer(CertOpenStore,
                     [&](LPCSTR kind, DWORD encoding, HCRYPTPROV, DWORD flags, void const* name) {
                         std::ostringstream text;
                         text << reinterpret_cast<std::uintptr_t>(kind) << std::hex << " 0x" << encoding
                              << " 0x" << flags << ' ';
                         for (auto const* wide = static_cast<wchar_t const*>(name); *wide != 0; ++wide) {
                             text << static_cast<char>(*wide);
                         }
                         opened.push_back(text.str());
                         bool const isMachine = (flags & CERT_SYSTEM_STORE_LOCAL_MACHINE) != 0;
                         handles.push_back(isMachine && !row.machineOpens
                                               ? nullptr
                                               : CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr));
                         return handles.back();
                     });
        calls.answer(CertOpenSystemStoreA, [&](HCRYPTPROV provider, LPCSTR name) {
            opened.emplace_back(name);
            return CertOpenSystemStoreA(provider, name);
        });
        calls.answer(CertAddStoreToCollection,
                     [&](HCERTSTORE to, HCERTSTORE sibling, DWORD flags, DWORD priority) {
                         EXPECT_EQ(sibling, handles.at(0));
                         EXPECT_EQ(to, handles.at(1));
                         opened.push_back("joined " + std::to_string(flags) + ' ' + std::to_string(priority));
                         return CertAddStoreToCollection(to, sibling, flags, priority);
                     });
        for (bool const before : {false, true}) {
            opened.clear();
            handles.clear();
            bool admin = before;
            OwnedStore const store(CapiManagerUtility::openCertStore(0, row.kind, &admin));
            EXPECT_TRUE(store.isSet());
            EXPECT_EQ(opened, row.expected);
            EXPECT_EQ(admin, before || row.admin) << "never set to false";
            if (!handles.empty()) {
                EXPECT_EQ(store.get(), row.admin ? handles.at(1) : handles.at(0));
            }
        }
        calls.reset();
    }
}

TEST_F(Stores, MachineAndUserShowEachCertificateOnce) {
    std::filesystem::path const bundle = profile.file("bundle.der");
    Bytes const der = makeCertificate({.subject = commonName("Machine")}, TestKey::shared(1024));
    std::ofstream(bundle, std::ios::binary)
        .write(reinterpret_cast<char const*>(der.data()), static_cast<std::streamsize>(der.size()));
    std::filesystem::path const pem = profile.file("bundle.pem");
    ASSERT_EQ(runProgram({.arguments = {"openssl", "x509", "-inform", "DER", "-in", bundle.string(), "-out",
                                        pem.string()}})
                  .exitCode,
              0);
    EnvironmentVariable const roots("SSL_CERT_FILE", pem.string());
    OwnedStore const user = openStore("ROOT");
    OwnedCertificate const added = certificate("User", user.get());
    CSPManager manager("", 3);
    EXPECT_TRUE(manager.isCertStoreWithAdminMode());
    EXPECT_EQ(walkedCerts(manager), (Names{"cn=Machine", "cn=User"}));
}

TEST_F(Stores, WalkEndsAndStartsAgain) {
    CSPManager manager("", 1);
    std::unique_ptr<TVKCspManager::Iterator> const iterator(manager.getCertIterator());
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextCertItem), Names{});
    EXPECT_EQ(static_cast<CspManagerCertIterator&>(*iterator).cursor, nullptr);
    for (char const* name : {"A", "B"}) {
        certificate(name, manager.getSystemStore());
    }
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextCertItem), (Names{"cn=A", "cn=B"}));
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextCertItem), (Names{"cn=A", "cn=B"})) << "again";

    // Destroyed in the middle of its walk it gives its certificate back: the fixture counts.
    std::unique_ptr<TVKCspManager::Iterator> const other(manager.getCertIterator());
    std::unique_ptr<TVKCertItem> const first(manager.getNextCertItem(*other));
    EXPECT_NE(static_cast<CspManagerCertIterator&>(*other).cursor, nullptr);
    EXPECT_EQ(manager.getCurrentCertificate(), nullptr) << "a walk is no search";
}

TEST_F(Stores, AdminModePassesBySystemStoreCertificatesOfTheUser) {
    constexpr int unreadable = -1;
    struct Row {
        char const* why;
        std::vector<int> states; // of A, B, C, D
        Names expected;
    };
    Row const rows[] = {
        {"writable ones", {3, 3, 7, 6}, {"cn=A", "cn=B", "cn=C", "cn=D"}},
        {"exactly 2", {2, 3, 2, 6}, {"cn=B", "cn=D"}},
        {"the first byte alone", {0x102, 0x200, 3, 3}, {"cn=B", "cn=C", "cn=D"}},
        {"unreadable behind a hidden one", {2, unreadable, 3, 3}, {"cn=C", "cn=D"}},
        {"unreadable behind a shown one", {3, unreadable, 3, 2}, {"cn=A", "cn=B", "cn=C"}},
        {"unreadable at the start", {unreadable, 2, unreadable, unreadable}, {"cn=A"}},
        {"all hidden", {2, 2, 2, 2}, {}},
    };
    joinEmptyMachineStore();
    CSPManager manager("", 0);
    ASSERT_TRUE(manager.isCertStoreWithAdminMode());
    OwnedStore const user = openStore("CA");
    for (char const* name : {"A", "B", "C", "D"}) {
        certificate(name, user.get());
    }
    for (Row const& row : rows) {
        SCOPED_TRACE(row.why);
        std::size_t next = 0;
        calls.answer(CertGetCertificateContextProperty,
                     [&](PCCERT_CONTEXT cert, DWORD id, void* data, DWORD* size) -> BOOL {
                         if (id != 14) {
                             return CertGetCertificateContextProperty(cert, id, data, size);
                         }
                         int const state = row.states.at(next++);
                         EXPECT_EQ(*size, 4U);
                         if (state != unreadable) {
                             *static_cast<DWORD*>(data) = static_cast<DWORD>(state);
                         }
                         return state != unreadable;
                     });
        EXPECT_EQ(walkedCerts(manager), row.expected);
        EXPECT_EQ(next, 4U);
    }
}

TEST_F(Stores, KeyWalkShowsWhatRefersToAKeyOfAKnownKind) {
    CSPManager manager("", 1);
    HCERTSTORE const store = manager.getSystemStore();
    std::unique_ptr<TVKCspManager::Iterator> const iterator(manager.getKeyCertIterator());
    certificate("keyless", store);
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextKeyCertItem), Names{});
    setKey(certificate("exchange", store).get(), L"a", AT_KEYEXCHANGE);
    setKey(certificate("unknown", store).get(), L"b", 3);
    setKey(certificate("signature", store).get(), L"c", AT_SIGNATURE);
    EXPECT_EQ(walkedCerts(manager).size(), 4U);
    Names const expected = {"cn=exchange", "cn=signature"};
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextKeyCertItem), expected);
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextKeyCertItem), expected) << "starts again";
    std::unique_ptr<TVKKeyCertItem> const first(manager.getNextKeyCertItem(*iterator));
    EXPECT_EQ(calls.arguments(CertFindCertificateInStore).at(0), "set, 0x10001, 0, 0x50000, set, 0");
}

TEST_F(Stores, ABadCertificateEndsOneStepAndNotTheWalk) {
    CSPManager manager("", 1);
    for (char const* name : {"A", "B", "C"}) {
        setKey(certificate(name, manager.getSystemStore()).get(), L"keys");
    }
    auto const damaged = [](PCCERT_CONTEXT cert) {
        cert->pbCertEncoded[0] = 0;
        return cert;
    };
    calls.answer(
        CertEnumCertificatesInStore,
        [=](HCERTSTORE store, PCCERT_CONTEXT previous) {
            return damaged(CertEnumCertificatesInStore(store, previous));
        },
        2);
    EXPECT_EQ(walkedCerts(manager), (Names{"cn=A", "!", "cn=C"}));
    calls.answer(
        CertFindCertificateInStore,
        [=](HCERTSTORE store, DWORD a, DWORD b, DWORD c, void const* d, PCCERT_CONTEXT previous) {
            return damaged(CertFindCertificateInStore(store, a, b, c, d, previous));
        },
        1);
    std::unique_ptr<TVKCspManager::Iterator> const iterator(manager.getKeyCertIterator());
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextKeyCertItem), (Names{"!", "cn=B", "cn=C"}));
}

TEST_F(Stores, AnIteratorWithoutAPositionIsRefused) {
    CSPManager manager("", 1);
    std::unique_ptr<TVKCspManager::Iterator> const keys(manager.getKeyCertReqIterator());
    EXPECT_EQ(raisedBy([&] { manager.getNextCertItem(*keys); }).code, 571301);
    EXPECT_EQ(raisedBy([&] { manager.getNextKeyCertItem(*keys); }).code, 571301);
}

TEST_F(Stores, ASelfSignedCertificateLandsInMy) {
    KeyWorld world;
    std::wstring container = L"keys";
    std::wstring provider = L"" MS_ENHANCED_PROV_A;
    CRYPT_KEY_PROV_INFO info{container.data(), provider.data(), PROV_RSA_FULL, 0, 0, nullptr, AT_KEYEXCHANGE};
    CERT_NAME_BLOB const& subject = world.cert.get()->pCertInfo->Subject;
    SYSTEMTIME end{2040, 1, 0, 2, 3, 4, 5, 0};
    calls.forget();
    OwnedCertificate made(CapiManagerUtility::createSelfSignCertificate(
        TVKBuffer(subject.cbData, subject.pbData), &info, nullptr, &end));
    EXPECT_EQ(calls.names(), (Names{"CertCreateSelfSignCertificate", "CryptAcquireCertificatePrivateKey",
                                    "CertOpenSystemStoreA", "CertAddCertificateContextToStore",
                                    "CertCloseStore", "CryptReleaseContext", "CertFreeCertificateContext"}));
    EXPECT_EQ(calls.arguments(CertCreateSelfSignCertificate).at(0), "0, set, 0, set, 0, 0, set, 0");
    EXPECT_EQ(calls.arguments(CertOpenSystemStoreA).at(0), "set, \"MY\"");
    EXPECT_EQ(calls.arguments(CertAddCertificateContextToStore).at(0), "set, set, 4, set");
    CSPManager manager("", 1);
    EXPECT_EQ(walkedCerts(manager), (Names{"cn=Alice", "cn=Alice"}));
    EXPECT_TRUE(CapiManagerUtility::compareCSPName(MS_ENHANCED_PROV_A, made.get()));
    EXPECT_TRUE(CapiManagerUtility::deleteCertificate(made.release()));
    EXPECT_EQ(walkedCerts(manager), (Names{"cn=Alice"}));
}

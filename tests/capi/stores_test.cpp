#include "module_fixture.h"

using namespace capi_tests;

namespace {

using Stores = ModuleTest;
using Iterator = std::unique_ptr<TVKCspManager::Iterator>;

// What the walk gives until its end, by the names in the labels; "!" for an exception.
template <typename Item>
Names walked(CSPManager& manager, TVKCspManager::Iterator& iterator,
             Item* (CSPManager::*next)(TVKCspManager::Iterator&)) {
    Names names;
    bool hasEnded = false;
    while (!hasEnded && names.size() < 20) {
        Raised const raised = raisedBy([&] {
            std::unique_ptr<Item> const item((manager.*next)(iterator));
            hasEnded = item == nullptr;
            std::string const label(hasEnded ? "" : item->getLabelAsString().c_str());
            names.push_back(label.substr(0, label.find("##")));
        });
        if (!raised.type.empty())
            names.emplace_back("!");
    }
    EXPECT_TRUE(hasEnded);
    names.pop_back();
    return names;
}

Names walkedCerts(CSPManager& manager) {
    Iterator const iterator(manager.getCertIterator());
    return walked(manager, *iterator, &CSPManager::getNextCertItem);
}

} // namespace

TEST_F(Stores, EachKindOpensItsStoreInItsScope) {
    // The kind, whether the machine's store opens, flags and name of each, how they are joined, which is
    // given.
    std::tuple<unsigned long, bool, Names> const rows[] = {
        {0, true, {"14000 CA", "24000 CA", "set, set, 1, 0", "1"}},
        {0, false, {"14000 CA", "24000 CA", "0"}},
        {1, true, {"set, \"MY\""}},
        {2, true, {"set, \"UserDS\""}},
        {3, true, {"14000 ROOT", "24000 ROOT", "set, set, 1, 0", "1"}},
        {3, false, {"14000 ROOT", "24000 ROOT", "0"}},
    };
    CSPManager manager("", 1);
    for (auto const& [kind, machineOpens, expected] : rows) {
        SCOPED_TRACE(kind);
        Names opened;
        std::vector<HCERTSTORE> handles;
        calls.reset();
        auto const open = [&, opens = machineOpens](LPCSTR, DWORD, ULONG_PTR, DWORD flags, void const* name) {
            std::wstring const wide = static_cast<wchar_t const*>(name);
            std::ostringstream text;
            text << std::hex << flags << ' ' << std::string(wide.begin(), wide.end());
            opened.push_back(text.str());
            bool const isRefused = !handles.empty() && !opens;
            handles.push_back(isRefused ? nullptr
                                        : CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr));
            return handles.back();
        };
        calls.answer(CertOpenStore, open);
        bool admin = false;
        OwnedStore const store(Capi::openCertStore(manager.gethCryptProv(), kind, &admin));
        EXPECT_TRUE(store.isSet());
        for (auto const& others :
             {calls.arguments(CertOpenSystemStoreA), calls.arguments(CertAddStoreToCollection)}) {
            opened.insert(opened.end(), others.begin(), others.end());
        }
        for (std::size_t i = 0; i < handles.size(); ++i) {
            EXPECT_EQ(calls.arguments(CertOpenStore).at(i).substr(0, 15), "a, 10001, set, ");
            if (store.get() == handles[i])
                opened.push_back(std::to_string(i));
        }
        EXPECT_EQ(opened, expected);
        EXPECT_EQ(admin, expected.size() == 4);
    }
    bool admin = true;
    OwnedStore const store(Capi::openCertStore(0, 1, &admin));
    EXPECT_TRUE(admin) << "never set to false";
}

TEST_F(Stores, WalkEndsAndStartsAgain) {
    CSPManager manager("", 1);
    Iterator const iterator(manager.getCertIterator());
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextCertItem), Names{});
    EXPECT_EQ(static_cast<CspManagerCertIterator&>(*iterator).cursor, nullptr);
    for (char const* name : {"A", "B"})
        certificate(name, manager.getSystemStore());
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextCertItem), (Names{"cn=A", "cn=B"}));
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextCertItem), (Names{"cn=A", "cn=B"})) << "again";

    // Destroyed in the middle of its walk it gives its certificate back: the fixture counts.
    Iterator const other(manager.getCertIterator());
    std::unique_ptr<TVKCertItem> const first(manager.getNextCertItem(*other));
    EXPECT_NE(static_cast<CspManagerCertIterator&>(*other).cursor, nullptr);
    EXPECT_EQ(manager.getCurrentCertificate(), nullptr) << "a walk is no search";
}

TEST_F(Stores, AdminModePassesBySystemStoreCertificatesOfTheUser) {
    constexpr int unreadable = -1;
    std::tuple<char const*, std::vector<int>, Names> const rows[] = {
        // the states are those of A, B, C, D
        {"writable ones", {3, 3, 7, 6}, {"cn=A", "cn=B", "cn=C", "cn=D"}},
        {"exactly 2", {2, 3, 2, 6}, {"cn=B", "cn=D"}},
        {"the first byte alone", {0x102, 0x200, 3, 3}, {"cn=B", "cn=C", "cn=D"}},
        {"unreadable behind a hidden one", {2, unreadable, 3, 3}, {"cn=C", "cn=D"}},
        {"unreadable behind a shown one", {3, unreadable, 3, 2}, {"cn=A", "cn=B", "cn=C"}},
        {"unreadable at the start", {unreadable, 2, unreadable, unreadable}, {"cn=A"}},
        {"all hidden", {2, 2, 2, 2}, {}},
    };
    auto const noMachineStore = [](LPCSTR, DWORD, HCRYPTPROV, DWORD, void const*) {
        return CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr);
    };
    calls.answer(CertOpenStore, noMachineStore, 2);
    CSPManager manager("", 0);
    ASSERT_TRUE(manager.isCertStoreWithAdminMode());
    for (char const* name : {"A", "B", "C", "D"})
        certificate(name, openStore("CA").get());
    for (auto const& [why, states, expected] : rows) {
        SCOPED_TRACE(why);
        std::size_t next = 0;
        auto const state = [&, of = states](PCCERT_CONTEXT cert, DWORD id, void* data, DWORD* size) -> BOOL {
            if (id != 14)
                return CertGetCertificateContextProperty(cert, id, data, size);
            EXPECT_EQ(*size, 4U);
            int const value = of.at(next++);
            if (value != unreadable)
                *static_cast<DWORD*>(data) = static_cast<DWORD>(value);
            return value != unreadable;
        };
        calls.answer(CertGetCertificateContextProperty, state);
        EXPECT_EQ(walkedCerts(manager), expected);
        EXPECT_EQ(next, 4U);
    }
}

TEST_F(Stores, KeyWalkShowsWhatRefersToAKeyOfAKnownKind) {
    CSPManager manager("", 1);
    HCERTSTORE const store = manager.getSystemStore();
    Iterator const iterator(manager.getKeyCertIterator());
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
    EXPECT_EQ(calls.arguments(CertFindCertificateInStore).at(0), "set, 10001, 0, 50000, set, 0");
}

TEST_F(Stores, ABadCertificateEndsOneStepAndNotTheWalk) {
    CSPManager manager("", 1);
    for (char const* name : {"A", "B", "C"})
        setKey(certificate(name, manager.getSystemStore()).get(), L"keys");
    auto const damaged = [](auto call) {
        return [=](auto... arguments) {
            PCCERT_CONTEXT const cert = call(arguments...);
            cert->pbCertEncoded[0] = 0;
            return cert;
        };
    };
    calls.answer(CertEnumCertificatesInStore, damaged(CertEnumCertificatesInStore), 2);
    EXPECT_EQ(walkedCerts(manager), (Names{"cn=A", "!", "cn=C"}));
    calls.answer(CertFindCertificateInStore, damaged(CertFindCertificateInStore), 1);
    Iterator const iterator(manager.getKeyCertIterator());
    EXPECT_EQ(walked(manager, *iterator, &CSPManager::getNextKeyCertItem), (Names{"!", "cn=B", "cn=C"}));
}

TEST_F(Stores, ASelfSignedCertificateLandsInMy) {
    KeyWorld world;
    CRYPT_KEY_PROV_INFO info = infoOf(world.reference);
    SYSTEMTIME end{2040, 1, 0, 2, 3, 4, 5, 0};
    calls.forget();
    OwnedCertificate made(Capi::createSelfSignCertificate(nameOf(world.cert.get()), &info, nullptr, &end));
    EXPECT_EQ(calls.names(), (Names{"CertCreateSelfSignCertificate", "CryptAcquireCertificatePrivateKey",
                                    "CertOpenSystemStoreA", "CertAddCertificateContextToStore",
                                    "CertCloseStore", "CryptReleaseContext", "CertFreeCertificateContext"}));
    EXPECT_EQ(calls.arguments(CertCreateSelfSignCertificate).at(0), "0, set, 0, set, 0, 0, set, 0");
    EXPECT_EQ(calls.arguments(CertOpenSystemStoreA).at(0), "set, \"MY\"");
    EXPECT_EQ(calls.arguments(CertAddCertificateContextToStore).at(0), "set, set, 4, set");
    CSPManager manager("", 1);
    EXPECT_EQ(walkedCerts(manager), (Names{"cn=Alice", "cn=Alice"}));
    EXPECT_TRUE(Capi::compareCSPName(MS_ENHANCED_PROV_A, made.get()));
    EXPECT_TRUE(Capi::deleteCertificate(made.release()));
    EXPECT_EQ(walkedCerts(manager), (Names{"cn=Alice"}));
}

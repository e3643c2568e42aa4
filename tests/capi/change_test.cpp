#include "module_fixture.h"

#include <sys/wait.h>
#include <unistd.h>

using namespace capi_tests;

namespace {

using Change = ModuleTest;

Bytes certificateOf(char const* name) {
    return makeCertificate({.subject = commonName(name)}, TestKey::shared(1024));
}

TVKCertItem certItem(Bytes const& der, std::string const& label) { return {buffer(der), buffer(label)}; }

TVKKeyCertItem keyItem(Bytes const& der, std::string const& label, TVKKRYKey const& key = materialOf(1024)) {
    return {TVKKeyItem(key, TVKBuffer()), certItem(der, label)};
}

// The certificates of a store by their friendly names, with "+key" where the key that one names is there.
std::string contents(char const* storeName) {
    OwnedStore const store = openStore(storeName);
    std::string text;
    PCCERT_CONTEXT cert = nullptr;
    while ((cert = CertEnumCertificatesInStore(store.get(), cert)) != nullptr) {
        TVKBuffer name;
        Capi::getCertFriendlyName(cert, name);
        auto const* wide = reinterpret_cast<wchar_t const*>(name.getValue());
        std::wstring const label = name.getLength() == 0 ? L"no name" : std::wstring(wide);
        OwnedProvider provider;
        bool const hasKey = CryptAcquireCertificatePrivateKey(cert, 0, nullptr, provider.receive(), nullptr,
                                                              nullptr) != FALSE;
        text += (text.empty() ? "" : ", ") + std::string(label.begin(), label.end()) + (hasKey ? "+key" : "");
    }
    return text;
}

// The container that was made last.
std::optional<std::string> madeContainer(PlatformCalls& calls) {
    std::optional<std::string> name;
    for (std::string const& call : calls.arguments(CryptAcquireContextA)) {
        if (call.ends_with(", 8"))
            name = call.substr(6, call.find('"', 6) - 6);
    }
    return name;
}

} // namespace

TEST_F(Change, CertificatesGoIntoTheManagersStore) {
    CSPManager manager("", 0);
    Bytes const der = certificateOf("first");
    TVKCertItem one = certItem(der, "one");
    TVKCertItem two = certItem(der, "two");
    EXPECT_EQ(manager.updateItem(one, 0), 0U) << "nothing to replace";
    EXPECT_EQ(manager.insertItem(one), 1U);
    EXPECT_EQ(contents("CA"), "one");
    EXPECT_EQ(raisedBy([&] { manager.insertItem(two); }), capi(kCspManager, 578009, "certificate exist"));
    EXPECT_EQ(manager.updateItem(two, 7), 1U);
    EXPECT_EQ(contents("CA"), "two");
    TVKCertItem broken(buffer("no certificate"), TVKBuffer());
    TVKCertItem unnamed = certItem(certificateOf("unnamed"), "\xFF");
    EXPECT_EQ(raisedBy([&] { manager.insertItem(broken); }).type, "TVKASNException");
    EXPECT_EQ(raisedBy([&] { manager.insertItem(unnamed); }).code, 571303) << "a label that is no text";
    EXPECT_EQ(manager.deleteItem(one), 1U) << "whatever its label";
    EXPECT_EQ(manager.deleteItem(one), 0U);
    EXPECT_EQ(contents("CA") + contents("MY"), "");
}

TEST_F(Change, KeysGoWithTheirCertificateIntoMy) {
    CSPManager ca("", 0);
    CSPManager my("", 1);
    Bytes const der = certificateOf("first");
    TVKKeyCertItem item = keyItem(der, "first");
    TVKCertItem earlier = certItem(certificateOf("earlier"), "earlier");
    my.insertItem(earlier);
    auto const running = owned(my.getCertIterator());
    ASSERT_NE(owned(my.getNextCertItem(*running)), nullptr);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t const other = fork();
    if (other == 0) {
        char byte = 0;
        bool const told = read(ready[0], &byte, 1) == 1;
        _exit(told && my.getItemCount(KeyCertMultiIndexAll, TVKASNNull(TVKASNNotSecure)) == 1 ? 0 : 1);
    }
    EXPECT_EQ(ca.insertItem(item), 1U);
    EXPECT_EQ(write(ready[1], "", 1), 1);
    int status = 0;
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(status, 0) << "another process sees it by the manager that it had";
    close(ready[0]);
    close(ready[1]);
    EXPECT_NE(owned(my.getNextCertItem(*running)), nullptr) << "a running walk of another manager sees it";
    EXPECT_EQ(my.deleteItem(earlier), 1U);
    EXPECT_EQ(contents("CA") + '|' + contents("MY"), "|first+key");

    // What the certificate says of its key.
    OwnedStore const store = openStore("MY");
    OwnedCertificate const cert(CertEnumCertificatesInStore(store.get(), nullptr));
    TVKBuffer reference;
    ASSERT_TRUE(Capi::isCertWithPrivateKey(cert.get(), reference));
    CRYPT_KEY_PROV_INFO const info = infoOf(reference);
    EXPECT_EQ(std::wstring(info.pwszProvName), L"" MS_ENHANCED_PROV_A);
    EXPECT_EQ(std::tuple(info.dwProvType, info.dwFlags, info.dwKeySpec), std::tuple(1U, 1U, 1U));
    std::wstring const wide = info.pwszContainerName;
    std::string const container(wide.begin(), wide.end());

    // The same certificate through the other manager: its store doesn't show that "MY" has it.
    EXPECT_EQ(raisedBy([&] { ca.insertItem(item); }), capi(kManagerUtility, 578006, "add certificate"));
    ASSERT_TRUE(madeContainer(calls));
    EXPECT_TRUE(containerExists(madeContainer(calls)->c_str())) << "the imported key stays";
    EXPECT_EQ(raisedBy([&] { my.insertItem(item); }), capi(kCspManager, 578009, "certificate exist"));

    // A reference is tied anew, not imported.
    calls.forget();
    TVKCAPIASNKeyRecord const record("", reference, 0, TVKBuffer());
    TVKKeyCertItem renamed = keyItem(der, "renamed", privateKey(TVKKRYKey::KeyRecord, record.getBuffer()));
    EXPECT_EQ(my.updateItem(renamed, 0), 1U);
    EXPECT_TRUE(calls.arguments(CryptImportPKCS8).empty());
    EXPECT_EQ(contents("MY"), "renamed+key");
    EXPECT_TRUE(containerExists(container.c_str()));
    EXPECT_EQ(my.deleteItem(renamed), 1U);
    EXPECT_FALSE(containerExists(container.c_str()));
    EXPECT_EQ(my.updateItem(renamed, 0), 0U);
    EXPECT_EQ(contents("MY"), "");
}

TEST_F(Change, KeysAreImportedIntoTheProviderOfTheLatestManager) {
    CSPManager first("", 1);
    CSPManager const second("Other", 2);
    TVKKeyCertItem item = keyItem(certificateOf("first"), "first");
    EXPECT_EQ(raisedBy([&] { first.insertItem(item); }),
              capi(kManagerUtility, 578012, "CryptAcquireContext() return values rc=0x",
                   static_cast<DWORD>(NTE_KEYSET_NOT_DEF)));
    EXPECT_NE(calls.arguments(CryptAcquireContextA).back().find("\"Other\", 1, 8"), std::string::npos);
    EXPECT_EQ(contents("MY"), "");
}

TEST_F(Change, WhatIsNoKeyLeavesNothing) {
    CSPManager manager("", 1);
    Bytes const key = TestKey::shared(1024).privateKeyInfo();
    Bytes cut = key;
    cut.pop_back();
    std::pair<TVKBuffer, char const*> const rows[] = {
        {TVKBuffer(), "empty"},
        {buffer("random bytes"), "no encoding"},
        {buffer(cut), "cut"},
        {buffer(TestKey::shared(1024).publicKeyInfo()), "a public key"}};
    for (auto const& [blob, why] : rows) {
        SCOPED_TRACE(why);
        TVKKeyCertItem item =
            keyItem(certificateOf("first"), "first", privateKey(TVKKRYKey::PrivateKeyInfo, blob));
        EXPECT_EQ(raisedBy([&] { manager.insertItem(item); }),
                  capi(kManagerUtility, 578006, "Import private key fail. return values rc=0x80090005"));
        EXPECT_FALSE(madeContainer(calls));
    }
    EXPECT_EQ(contents("MY"), "");
}

TEST_F(Change, ManyAreDeletedByTheirIndexes) {
    CSPManager manager("", 1);
    TVKASNNull const anything(TVKASNNotSecure);
    for (char const* name : {"a", "b", "c"}) {
        TVKKeyCertItem item = keyItem(certificateOf(name), name);
        ASSERT_EQ(manager.insertItem(item), 1U);
    }
    TVKCertItem bare = certItem(certificateOf("d"), "d");
    manager.insertItem(bare);
    Label const label("b");
    EXPECT_EQ(manager.deleteItem(KeyCertUniqueIndexLabel, label), 1U) << "by the key in clear";
    EXPECT_EQ(manager.deleteItem(CertUniqueIndexLabel, label), 0U);
    EXPECT_EQ(contents("MY"), "a+key, c+key, d");
    // An exception ends the deletion; what was deleted stays deleted.
    calls.fail(CertDeleteCertificateFromStore, E_ACCESSDENIED, 2);
    EXPECT_EQ(raisedBy([&] { manager.deleteItems(KeyCertMultiIndexAll, anything); }).code, 578008);
    calls.reset();
    EXPECT_EQ(contents("MY"), "c, d") << "its key is gone";
    EXPECT_EQ(manager.deleteItems(CertMultiIndexAll, anything).deleted, 2U);
    EXPECT_EQ(contents("MY"), "");
}

namespace {

// Runs the operation with each platform call failing in turn, in a new profile each time, and says what came
// of it and what the store then holds.
template <typename Operation>
Names failEach(PlatformCalls& calls, unsigned long storeKind, TVKKeyCertItem& item, bool isThere,
               Operation operation) {
    Names lines;
    for (unsigned number = 1; lines.size() < 40; ++number) {
        ScratchProfile const profile;
        CSPManager manager("", storeKind);
        if (isThere)
            manager.insertItem(item);
        std::optional<std::string> container = madeContainer(calls);
        calls.forget();
        calls.failNumber(number, ERROR_IO_DEVICE);
        unsigned int changed = 0;
        Raised const raised = raisedBy([&] { changed = operation(manager, item); });
        if (calls.failed().empty()) {
            calls.reset();
            return lines;
        }
        std::string const error = std::to_string(raised.code) + ' ' + raised.message;
        std::string const line = calls.failed() + ": " + (raised.code == 0 ? std::to_string(changed) : error);
        container = madeContainer(calls) ? madeContainer(calls) : container;
        calls.reset();
        bool const hasContainer = container && containerExists(container->c_str());
        lines.push_back(line + " | " + contents("MY") + (hasContainer ? " | key" : " |"));
    }
    return lines;
}

} // namespace

TEST_F(Change, EachFailingCallLeavesWhatWasDoneBefore) {
    TVKKeyCertItem item = keyItem(certificateOf("first"), "name");
    auto const insert = [](CSPManager& manager, TVKKeyCertItem& it) { return manager.insertItem(it); };
    EXPECT_EQ(
        failEach(calls, 1, item, false, insert),
        (Names{
            "CertFindCertificateInStore: 1 | name+key | key",
            "CryptImportPKCS8: 578006 Import private key fail. return values rc=0x45d |  |",
            "CryptAcquireContextA: 578012 CryptAcquireContext() return values rc=0x |  |",
            "CertOpenSystemStoreA: 578006 add certificate |  | key",
            "CertAddEncodedCertificateToStore: 578006 add certificate |  | key",
            "CertSetCertificateContextProperty: 578006 add certificate label fail | no name | key",
            "CryptGetProvParam: 578006 add certificate key info property fail | name | key",
            "CryptGetProvParam: 578006 add certificate key info property fail | name | key",
            "CertSetCertificateContextProperty: 578006 add certificate key info property fail | name | key",
            "CertSetCertificateContextProperty: 578006 add certificate key context fail | name+key | key"}));
    auto const remove = [](CSPManager& manager, TVKKeyCertItem& it) { return manager.deleteItem(it); };
    EXPECT_EQ(
        failEach(calls, 1, item, true, remove),
        (Names{"CertFindCertificateInStore: 0 | name+key | key", "CertGetCertificateContextProperty: 1 |  |",
               "CertGetCertificateContextProperty: 1 |  |", "CertGetCertificateContextProperty: 1 |  | key",
               "CertGetCertificateContextProperty: 1 |  | key",
               "CryptAcquireContextA: 578012 CryptAcquireContext() return value rc=0x | name+key | key",
               "CertDeleteCertificateFromStore: 578008 failed in CertDeleteCertificate() | name |"}));
    auto const update = [](CSPManager& manager, TVKKeyCertItem& it) {
        TVKCertItem bare = it.getCertItem();
        return manager.updateItem(bare, 0);
    };
    EXPECT_EQ(
        failEach(calls, 1, item, true, update),
        (Names{"CertFindCertificateInStore: 0 | name+key | key",
               "CertGetCertificateContextProperty: 1 | name | key",
               "CertGetCertificateContextProperty: 1 | name | key",
               "CertAddEncodedCertificateToStore: 578006 add certificate | name+key | key",
               "CertSetCertificateContextProperty: 578006 add certificate label fail | no name | key"}));
    auto const create = [](CSPManager& manager, TVKKeyCertItem& it) {
        Decoded<TVKASNx509Certificate> certificate(it.getCertificateDER().get());
        TVKASNTBSCertificate& parts = certificate.tbsCertificate;
        std::unique_ptr<TVKKeyCertItem> const made(
            manager.createSelfSignCertificate("name", TVKASNUtility::getDEREncoding(parts.subject),
                                              parts.validity, certificate.signatureAlgorithm, {}));
        return made == nullptr ? 0U : 1U;
    };
    EXPECT_EQ(
        failEach(calls, 1, item, false, create),
        (Names{
            "CryptAcquireContextA: 578009 Create self sign certificate fail. return values rc=0x |  |",
            "CryptGetProvParam: 578006 create self sign certificate fail. return values rc=0x |  | key",
            "CryptGetProvParam: 578006 create self sign certificate fail. return values rc=0x |  | key",
            "CryptGetProvParam: 578006 create self sign certificate fail. return values rc=0x |  | key",
            "CryptGetProvParam: 578006 create self sign certificate fail. return values rc=0x |  | key",
            "CertCreateSelfSignCertificate: 578006 create self sign certificate fail. return values rc=0x |  "
            "| key",
            "CryptAcquireCertificatePrivateKey: 578006 get Key Provider fail. return values rc=0x |  | key",
            "CertOpenSystemStoreA: 578006 Add certificate to personal certificate store fail. return values "
            "rc=0x |  | key",
            "CertAddCertificateContextToStore: 578006 Add certificate to personal certificate store fail. "
            "return values rc=0x |  | key",
            "CertSetCertificateContextProperty: 578006 add certificate label fail | no name+key | key",
            "CertGetCertificateContextProperty: 1 | name+key | key",
            "CertGetCertificateContextProperty: 1 | name+key | key",
            "CertGetPublicKeyLength: 1 | name+key | key",
            "CertGetCertificateContextProperty: 1 | name+key | key",
            "CertGetCertificateContextProperty: 1 | name+key | key"}));
}

TEST_F(Change, ASelfSignedCertificateComesWithItsKey) {
    CSPManager manager("", 2);
    Decoded<TVKASNx509Certificate> model(buffer(certificateOf("Zo\xC3\xAB")).get());
    TVKBuffer const subject = TVKASNUtility::getDEREncoding(model.tbsCertificate.subject);
    TVKASNTarnTime& notAfter = model.tbsCertificate.validity.notAfter;
    TVKASNAlgorithmID algorithm(TVKASNNotSecure);
    // The last arc of the algorithm that is asked for, the year, and the last arc of the one that is used.
    std::tuple<unsigned long, int, unsigned long> const rows[] = {
        {4, 2049, 4}, {5, 2050, 5}, {11, 9999, 11}, {13, 1999, 11}};
    for (auto const& [last, year, expected] : rows) {
        SCOPED_TRACE(year);
        std::string const label = std::to_string(year);
        unsigned long arcs[] = {1, 2, 840, 113549, 1, 1, last};
        algorithm.algorithm.set_value(arcs, 7);
        struct tm const end = {54, 43, 21, 29, 10, year - 1900, 0, 0, 0, 0, nullptr};
        notAfter.set_value(end);
        auto const create = [&] {
            return owned(manager.createSelfSignCertificate(
                label.c_str(), subject, model.tbsCertificate.validity, algorithm, TVKBuffer()));
        };
        auto const item = create();
        ASSERT_NE(item, nullptr);
        EXPECT_TRUE(containerExists(label.c_str()));
        Decoded<TVKASNx509Certificate> made(item->getCertificateDER().get());
        EXPECT_EQ(TVKASNx500Name::compare(made.tbsCertificate.subject, model.tbsCertificate.subject), 0);
        arcs[6] = expected;
        EXPECT_TRUE(made.signatureAlgorithm.algorithm.is_equal(arcs, 7));
        EXPECT_EQ(TVKASNObject::compare(made.tbsCertificate.validity.notAfter, notAfter), 0);
        EXPECT_EQ(raisedBy(create),
                  capi(kCspManager, 578009, "Create self sign certificate fail. return values rc=0x",
                       static_cast<DWORD>(NTE_EXISTS)));
        auto const factory = owned(manager.getTVKKRYAlgorithmFactory());
        auto const signer = owned(factory->make_SHA1WithRSA_SignatureAlgorithm(item->getKey()));
        EXPECT_EQ(signer->signData(subject.get()).getLength(), 256U);
    }
    EXPECT_EQ(contents("MY"), "2049+key, 2050+key, 9999+key, 1999+key");
}

TEST_F(Change, ACardGetsItsCertificateAndLosesItWithTheKey) {
    // The software provider stands in for the card's, with one container.
    calls.answer(CryptAcquireContextA,
                 [](HCRYPTPROV* provider, LPCSTR container, LPCSTR name, DWORD type, DWORD flags) -> BOOL {
                     bool const isDefault = std::string(name) == "Card" && container == nullptr;
                     BOOL const opened = CryptAcquireContextA(provider, isDefault ? "on the card" : container,
                                                              MS_ENHANCED_PROV_A, type, flags);
                     if (!opened && isDefault)
                         SetLastError(static_cast<DWORD>(NTE_KEYSET_NOT_DEF));
                     return opened;
                 });
    Decoded<TVKASNx509Certificate> model(buffer(certificateOf("Alice")).get());
    {
        CSPManager card("Card", 1);
        EXPECT_TRUE(card.isHardwareCSP());
        calls.forget();
        std::unique_ptr<TVKKeyCertItem> const made(card.createSelfSignCertificate(
            "on the card", TVKASNUtility::getDEREncoding(model.tbsCertificate.subject),
            model.tbsCertificate.validity, model.signatureAlgorithm, TVKBuffer()));
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(calls.arguments(CryptSetKeyParam), Names{"set, 1a, set, 0"});
        EXPECT_EQ(card.getItemCount(CertMultiIndexAll, model), 0U) << "what it shows is as it was at first";
    }
    CSPManager card("Card", 1);
    auto const iterator = owned(card.getKeyCertIterator());
    auto const item = owned(card.getNextKeyCertItem(*iterator));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(contents("MY"), "on the card+key");
    EXPECT_TRUE(item->getLabelAsString().view().starts_with("on the card##")) << "the name that it has in MY";
    EXPECT_EQ(card.deleteItem(*item), 1U);
    EXPECT_EQ(contents("MY"), "");
    EXPECT_EQ(card.deleteItem(*item), 0U);
    calls.reset();
    EXPECT_FALSE(containerExists("on the card"));
}

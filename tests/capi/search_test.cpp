#include "module_fixture.h"

using namespace capi_tests;

namespace {

using Search = ModuleTest;

// "MY" with three certificates: Alice and Bob with the friendly name "same", and Carol with a key that may
// leave.
struct Persons {
    Persons() : store(openStore("MY")), provider(makeContainer("keys")) {
        for (char const* name : {"Alice", "Bob", "Carol"})
            certificates.push_back(certificate(name, store.get()));
        Capi::setCertFriendlyName(certificates[0].get(), "same");
        Capi::setCertFriendlyName(certificates[1].get(), "same");
        Capi::setCertFriendlyName(certificates[2].get(), "carol's");
        setKey(certificates[2].get(), L"keys");
        for (OwnedCertificate const& cert : certificates)
            parts.push_back(std::make_unique<Decoded<TVKASNx509Certificate>>(derOf(cert.get()).get()));
    }

    std::string der(std::size_t i) const { return text(derOf(certificates[i].get())); }

    OwnedStore store;
    OwnedProvider provider;
    std::vector<OwnedCertificate> certificates;
    std::vector<std::unique_ptr<TVKASNx509Certificate>> parts;
};

} // namespace

TEST_F(Search, FindsOneItemByEachUniqueIndex) {
    Persons const persons;
    CSPManager manager("", 1);
    TVKBuffer wholeLabel;
    Csp::makeCertLabel(persons.certificates[1].get(), wholeLabel);
    Label const same("same"), whole(text(wholeLabel)), otherCase("Same");
    TVKASNIssuerAndSerialNumber issuerAndSerial(TVKASNNotSecure);
    TVKASNTBSCertificate const& carol = persons.parts[2]->tbsCertificate;
    TVKASNUtility::getIssuerAndSerialNumber(carol.issuer, carol.serialNumber, issuerAndSerial);
    std::tuple<int, TVKASNObject const&, int, bool, char const*> const rows[] = {
        {0, same, 0, false, "the friendly name of two gives the first"},
        {0, whole, 1, false, "the whole label of the second"},
        {0, otherCase, -1, false, "another case"},
        {1, persons.parts[2]->signature, 2, true, "signature"},
        {2, persons.parts[1]->tbsCertificate, 1, false, "unsigned certificate"},
        {3, issuerAndSerial, 2, true, "issuer and serial number"},
        {4, issuerAndSerial, -1, false, "an index that isn't known"},
    };
    for (auto const& [index, attribute, found, hasKey, why] : rows) {
        SCOPED_TRACE(why);
        auto const item = owned(manager.getItem(static_cast<CertUniqueIndex>(index), attribute));
        ASSERT_EQ(item != nullptr, found >= 0);
        if (item != nullptr) {
            EXPECT_EQ(text(item->getCertificateDER()), persons.der(static_cast<std::size_t>(found)));
        }
        auto const keyItem = owned(manager.getItem(static_cast<KeyCertUniqueIndex>(index), attribute));
        EXPECT_EQ(keyItem != nullptr, hasKey);
        if (keyItem != nullptr) {
            EXPECT_EQ(keyItem->getKey().getFormat(), TVKKRYKey::KeyRecord) << "a reference, but for labels";
        }
    }
    EXPECT_THROW(manager.getItem(CertUniqueIndexSignature, issuerAndSerial), TVKException);
}

TEST_F(Search, ComparesLabelsInTheirNormalForm) {
    Persons const persons;
    CSPManager manager("", 1);
    TVKASNOctetString octets(TVKASNNotSecure);
    octets.set_value(reinterpret_cast<unsigned char const*>("ab"), 2);
    Label const hi("hi"), none(""), longer("not carol's"), encoded("\x0C\x02hi");
    std::tuple<char const*, TVKASNObject const&, bool, char const*> const rows[] = {
        {"\x0C\x02hi", hi, true, "a name that is an encoding stands for its text"},
        {"\x0C\x03hi", hi, false, "one that only begins like an encoding is text"},
        {"hi", encoded, false, "the encoding as the text of a label is another text"},
        {"", none, true, "an empty name"},
        {"carol's", none, false, "an empty label"},
        {"carol's", longer, false, "the end of a label"},
        {"\x04\x02"
         "ab",
         octets, true, "an attribute that is no label is compared by its encoding"},
    };
    for (auto const& [name, attribute, isFound, why] : rows) {
        SCOPED_TRACE(why);
        Capi::setCertFriendlyName(persons.certificates[0].get(), name);
        EXPECT_EQ(owned(manager.getItem(CertUniqueIndexLabel, attribute)) != nullptr, isFound);
    }
}

TEST_F(Search, GivesAKeyInClearForALabelWhereItMayLeave) {
    Persons const persons;
    CSPManager manager("", 1);
    Label const label("carol's");
    auto item = owned(manager.getItem(KeyCertUniqueIndexLabel, label));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->getKey().getFormat(), TVKKRYKey::PrivateKeyInfo);
    EXPECT_EQ(bytesOf(item->getKey().getKeyBlob()), TestKey::shared(1024).privateKeyInfo());
    calls.fail(CryptExportPKCS8, NTE_BAD_KEY_STATE);
    item.reset(manager.getItem(KeyCertUniqueIndexLabel, label));
    EXPECT_EQ(item->getKey().getFormat(), TVKKRYKey::KeyRecord) << "a key that may not leave";
    calls.fail(CryptExportPKCS8, ERROR_IO_DEVICE);
    EXPECT_EQ(raisedBy([&] { manager.getItem(KeyCertUniqueIndexLabel, label); }).code, 578012);
}

TEST_F(Search, FindsAllItemsByEachMultiIndex) {
    Persons const persons;
    CSPManager manager("", 1);
    TVKASNNull const anything(TVKASNNotSecure);
    std::tuple<int, TVKASNObject const&, unsigned, unsigned, char const*> const rows[] = {
        {0, anything, 3, 1, "all"},
        {1, persons.parts[2]->tbsCertificate.subject, 1, 1, "subject"},
        {1, persons.parts[0]->tbsCertificate.subject, 1, 0, "subject of one without a key"},
        {2, persons.parts[0]->tbsCertificate.subjectPublicKeyInfo, 3, 1, "the public key that all have"},
        {3, anything, 3, 1, "an index that isn't known"},
    };
    for (auto const& [index, attribute, certificates, keys, why] : rows) {
        SCOPED_TRACE(why);
        EXPECT_EQ(manager.getItemCount(static_cast<CertMultiIndex>(index), attribute), certificates);
        EXPECT_EQ(manager.getItemCount(static_cast<KeyCertMultiIndex>(index), attribute), keys);
    }
    std::unique_ptr<TVKCertItemContainer> const all(manager.getItem(CertMultiIndexAll, anything));
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(text(owned(all->pop_front())->getCertificateDER()), persons.der(i)) << "store order";
}

TEST_F(Search, FindsNothingByOtherKinds) {
    Persons const persons;
    CSPManager manager("", 1);
    Label const label("carol's");
    for (int const kind : {0, 2, 3, 10, -1}) {
        SCOPED_TRACE(kind);
        auto const searchKind = static_cast<CertSearchKind>(kind);
        EXPECT_EQ(owned(Csp::findCertificates(manager, searchKind, label))->size(), 0U);
    }
    auto const list =
        owned(Csp::findCertificate<TVKKeyCertItemContainer>(manager, nullptr, searchLabel, label));
    EXPECT_EQ(list->size(), 0U) << "the list form knows no labels";
}

TEST_F(Search, PassesByWhatTheJoinedStoreShowsTwice) {
    CSPManager manager("", 3);
    ASSERT_TRUE(manager.isCertStoreWithAdminMode());
    TVKASNNull const anything(TVKASNNotSecure);
    unsigned int const shown = manager.getItemCount(CertMultiIndexAll, anything);
    ASSERT_GT(shown, 0U) << "the machine's own";
    for (auto const& [state, expected] :
         std::vector<std::pair<BYTE, unsigned int>>{{2, 0}, {3, 2 * shown}, {6, 2 * shown}}) {
        calls.answer(CertGetCertificateContextProperty,
                     [state = state](PCCERT_CONTEXT cert, DWORD id, void* data, DWORD* size) -> BOOL {
                         if (id != CERT_ACCESS_STATE_PROP_ID)
                             return CertGetCertificateContextProperty(cert, id, data, size);
                         *static_cast<BYTE*>(data) = state;
                         return TRUE;
                     });
        EXPECT_EQ(manager.getItemCount(CertMultiIndexAll, anything), expected) << int{state};
    }
}

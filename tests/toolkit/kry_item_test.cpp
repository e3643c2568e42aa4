#include "hex.h"

#include <gtest/gtest.h>

namespace {

TVKKRYKey keyOf(char const* blob) {
    TVKKRYKey key;
    key.setType(TVKKRYKey::Private);
    key.setFormat(TVKKRYKey::KeyRecord);
    key.setAlgorithm(TVKKRYKey::RSA);
    key.setKeyBlob(TVKBuffer(TVKString(blob)));
    return key;
}

TVKBuffer label(char const* text) { return TVKBuffer(TVKString(text)); }

class EmptyFactory : public TVKKRYAlgorithmFactory {
public:
    TVKKRYAlgorithmFactory* duplicate() const override { return new EmptyFactory; }
};

} // namespace

TEST(Keys, CopiesStandOnTheirOwn) {
    auto original = std::make_unique<TVKKRYKey>(keyOf("blob"));
    TVKKRYKey const copy(*original);
    TVKKRYKeyPair const pair(TVKKRYKey(), *original);
    original->setKeyBlob(TVKBuffer());
    original.reset();
    EXPECT_EQ(toHex(copy.getKeyBlob()), "626c6f62");
    EXPECT_EQ(copy.getFormat(), TVKKRYKey::KeyRecord);
    EXPECT_EQ(toHex(pair.getPrivateKey().getKeyBlob()), "626c6f62");
    EXPECT_EQ(pair.getPublicKey().getFormat(), TVKKRYKey::NoFormat);
}

TEST(Factories, GiveNullForWhatTheyDontOffer) {
    EmptyFactory const factory;
    TVKKRYKey const key = keyOf("blob");
    TVKASNCBuffer const view;
    EXPECT_EQ(factory.make_Default_RandomDataGenAlgorithm(nullptr), nullptr);
    EXPECT_EQ(factory.make_SHA224_KeyedDigestAlgorithm(view), nullptr);
    EXPECT_EQ(factory.make_ECDSAWithSHA224_VerificationAlgorithm(key), nullptr);
    EXPECT_EQ(factory.make_AESGCM_DecryptionAlgorithm(key, view, true, nullptr), nullptr);
    EXPECT_EQ(factory.make_BASE64_DecodeAlgorithm(), nullptr);
    EXPECT_TRUE(factory.isKindOf("TVKKRYAlgorithmFactory"));
    EXPECT_FALSE(factory.isKindOf("TVKKRYAlgorithm"));
    EXPECT_THROW(TVKKRYUtility::generateRandomData(8, nullptr, &factory), TVKException);
}

TEST(Factories, TheDefaultOneMakesRandomDataUntilAnotherIsInstalled) {
    std::set<std::string> seen;
    for (int i = 0; i < 64; ++i) {
        TVKBuffer const data = TVKKRYUtility::generateRandomData(16, nullptr, nullptr);
        ASSERT_EQ(data.getLength(), 16U);
        EXPECT_TRUE(seen.insert(toHex(data)).second) << "the same 16 bytes twice";
    }
    EXPECT_EQ(TVKKRYUtility::generateRandomData(0, nullptr, nullptr).getLength(), 0U);
    TVKKRYAlgorithmFactory const& before = TVKKRYUtility::getDefaultAlgorithmFactory();
    std::unique_ptr<TVKKRYAlgorithmFactory> const copy(before.duplicate());
    {
        EmptyFactory const installed;
        TVKKRYUtility::setDefaultAlgorithmFactory(installed);
    }
    EXPECT_NE(&TVKKRYUtility::getDefaultAlgorithmFactory(), &before);
    EXPECT_THROW(TVKKRYUtility::generateRandomData(8, nullptr, nullptr), TVKException);
    EXPECT_EQ(TVKKRYUtility::generateRandomData(8, nullptr, &before).getLength(), 8U);
    TVKKRYUtility::setDefaultAlgorithmFactory(*copy);
    EXPECT_EQ(TVKKRYUtility::generateRandomData(8, nullptr, nullptr).getLength(), 8U);
}

TEST(Items, KeepWhatTheyWereMadeOf) {
    auto keyItem = std::make_unique<TVKKeyItem>(keyOf("first"), TVKBuffer());
    auto certItem = std::make_unique<TVKCertItem>(label("certificate"), label("caf\xC3\xA9"));
    TVKKeyCertItem item(*keyItem, *certItem);
    TVKKeyCertReqItem const request(*keyItem, label("request"), label("r"));
    TVKKeyCertItem const keyLabelled(TVKKeyItem(keyOf("x"), label("key")), TVKCertItem({}, {}));
    keyItem.reset();
    certItem.reset();
    EXPECT_EQ(item.getLabelAsString(), TVKString("caf\xC3\xA9"));
    EXPECT_EQ(keyLabelled.getLabelAsString(), TVKString("key"));
    EXPECT_EQ(toHex(item.getCertificateDER()), toHex(label("certificate")));
    EXPECT_EQ(toHex(item.getKey().getKeyBlob()), toHex(label("first")));
    EXPECT_EQ(toHex(request.getRequestDER()), toHex(label("request")));
    item.setKey(keyOf("second"));
    EXPECT_EQ(toHex(item.getKey().getKeyBlob()), toHex(label("second")));
    TVKCertItem const copy = item.getCertItem();
    EXPECT_EQ(copy.getLabelAsString(), item.getLabelAsString());
    TVKASNUTF8String text(TVKASNNotSecure);
    EXPECT_EQ(toHex(TVKASNUtility::getDEREncoding(item.getLabel(text))), "0c05636166c3a9");
    std::ostringstream dump;
    item.dump(dump);
    EXPECT_EQ(dump.str(), "TVKKeyCertItem \"caf\xC3\xA9\" key format 5, certificate of 11 bytes\n");
}

TEST(Items, KnowTheirClass) {
    TVKKeyItem const keyItem(keyOf("k"), TVKBuffer());
    TVKCertItem const certItem{TVKBuffer(), TVKBuffer()};
    TVKKeyCertItem const keyCertItem(keyItem, certItem);
    TVKKeyCertReqItem const request(keyItem, TVKBuffer(), TVKBuffer());
    std::map<std::string, TVKStoreItem const*> const items = {{"TVKKeyItem", &keyItem},
                                                              {"TVKCertItem", &certItem},
                                                              {"TVKKeyCertItem", &keyCertItem},
                                                              {"TVKKeyCertReqItem", &request}};
    for (auto const& [name, item] : items) {
        SCOPED_TRACE(name);
        EXPECT_EQ(item->getInstanceName().view(), name);
        EXPECT_TRUE(item->isKindOf("TVKStoreItem"));
        for (auto const& [other, unused] : items)
            EXPECT_EQ(item->isKindOf(other.c_str()), name == other);
    }
}

TEST(Containers, GiveItemsInOrderAndDeleteTheRest) {
    TVKCertItemContainer container(TVKOwnershipOwned);
    EXPECT_EQ(container.pop_front(), nullptr);
    EXPECT_EQ(container.size(), 0U);
    EXPECT_FALSE(container.push_back(nullptr));
    for (char const* name : {"1", "2", "3"})
        EXPECT_TRUE(container.push_back(new TVKCertItem(TVKBuffer(), label(name))));
    std::unique_ptr<TVKCertItem> const first(container.pop_front());
    EXPECT_EQ(first->getLabelAsString(), TVKString("1"));
    EXPECT_EQ(container.size(), 2U);
}

TEST(PrioritySets, KeepTheOrderOfInsertion) {
    CSPEntryContainer list(TVKOwnershipOwned);
    auto* const first = new CSPEntry{1, tvk_strdup("same", nullptr)};
    auto* const second = new CSPEntry{1, tvk_strdup("same", nullptr)};
    EXPECT_TRUE(list.set.insert(second));
    EXPECT_TRUE(list.set.insert(first)) << "equal entries are two";
    EXPECT_FALSE(list.set.insert(second));
    EXPECT_EQ(list.size(), 2U);
    EXPECT_EQ(*list.begin(), second);
}

// What every kind of store does, and what a collection adds.
#include "layer_fixture.h"

#include <algorithm>

using namespace layer_test;

namespace {

StoreHandle database() { return openStore("MY"); }

StoreHandle collection() {
    StoreHandle made(CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr));
    EXPECT_TRUE(CertAddStoreToCollection(made.get(), memoryStore().get(), 0, 0)) << "takes no additions";
    EXPECT_TRUE(CertAddStoreToCollection(made.get(), openStore("UserDS").get(),
                                         CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG, 0));
    return made;
}

class Stores : public HoldingTest, public testing::WithParamInterface<StoreHandle (*)()> {
protected:
    void SetUp() override { ASSERT_TRUE(store = GetParam()()); }
    void addNumbers(unsigned last) {
        for (unsigned number = 1; number <= last; ++number)
            ASSERT_TRUE(add(store, certificate(number)));
    }
    static ContextHandle certificateAt(HCERTSTORE in, unsigned place) {
        PCCERT_CONTEXT at = CertEnumCertificatesInStore(in, nullptr);
        for (; at != nullptr && place != 0; --place)
            at = CertEnumCertificatesInStore(in, at);
        return ContextHandle(at);
    }
    DWORD addError(Bytes const& encoding, DWORD disposition) {
        return errorOf([&] { return add(store, encoding, disposition); });
    }
};

INSTANTIATE_TEST_SUITE_P(Kinds, Stores, testing::Values(&database, &memoryStore, &collection));

TEST_P(Stores, DispositionsDecideWhatHappensToAnEqualCertificate) {
    std::tuple<DWORD, DWORD, std::size_t, std::optional<std::wstring>, char const*> const rows[] = {
        {CERT_STORE_ADD_NEW, code(CRYPT_E_EXISTS), 3, L"first", "refused, and nothing changes"},
        {CERT_STORE_ADD_USE_EXISTING, 0, 3, L"first", "keeps what is there"},
        {CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES, 0, 3, L"first", "keeps properties"},
        {CERT_STORE_ADD_REPLACE_EXISTING, 0, 3, std::nullopt, "drops properties"},
        {CERT_STORE_ADD_ALWAYS, 0, 4, std::nullopt, "a second one behind"},
        {0, code(E_INVALIDARG), 4, std::nullopt, "no disposition"},
        {99, code(E_INVALIDARG), 4, std::nullopt, "no disposition"},
    };
    addNumbers(3);
    ASSERT_TRUE(setFriendlyName(find(store, certificate(2)).get(), L"first"));
    for (auto const& [disposition, expected, count, name, why] : rows) {
        SCOPED_TRACE(why);
        EXPECT_EQ(addError(certificate(2), disposition), expected);
        auto const present = all(store);
        EXPECT_EQ(present.size(), count);
        EXPECT_EQ(present.at(1), certificate(2)) << "keeps its place in the walk";
        EXPECT_EQ(friendlyName(find(store, certificate(2)).get()), name);
    }
}

TEST_P(Stores, OnlyCertificatesGoIn) {
    Bytes const cut = firstOf(certificate(1), 100);
    Bytes longer = certificate(1);
    longer.push_back(0);
    Bytes damaged = certificate(1); // the last octet of its algorithm's identifier says that more follow
    Bytes const algorithm = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x0B};
    *(std::find_end(damaged.begin(), damaged.end(), algorithm.begin(), algorithm.end()) + 8) |= 0x80;
    for (Bytes const& encoding :
         {Bytes{}, Bytes{0x30, 0x00}, Bytes(40, 0xFF), cut, longer, damaged, damaged}) {
        EXPECT_EQ(addError(encoding, CERT_STORE_ADD_ALWAYS), code(CRYPT_E_ASN1_CORRUPT));
        EXPECT_TRUE(all(store).empty());
    }
}

TEST_P(Stores, AWalkGoesOnWhileOthersAddAndDelete) {
    addNumbers(5);
    PCCERT_CONTEXT at = CertEnumCertificatesInStore(store.get(), nullptr);
    at = CertEnumCertificatesInStore(store.get(), at);
    for (unsigned const number : {2u, 3u, 5u})
        ASSERT_TRUE(CertDeleteCertificateFromStore(find(store, certificate(number)).release()));
    ASSERT_TRUE(add(store, certificate(6)));
    std::vector<Bytes> rest;
    while ((at = CertEnumCertificatesInStore(store.get(), at)) != nullptr) {
        rest.push_back(encodingOf(at));
        EXPECT_EQ(friendlyName(at), rest.size() == 1 ? std::nullopt : std::optional<std::wstring>(L"named"));
        EXPECT_TRUE(setFriendlyName(find(store, certificate(6)).get(), L"named"));
    }
    EXPECT_EQ(rest, certificates({4, 6}));
}

TEST_P(Stores, AChangeShowsWhereverALongWalkIs) {
    constexpr unsigned count = 400;
    Bytes const encoding = certificate(1);
    for (unsigned number = 1; number <= count; ++number)
        ASSERT_TRUE(add(store, encoding, CERT_STORE_ADD_ALWAYS));
    StoreHandle const opened = GetParam()(); // the same certificates, but for a store in memory
    HCERTSTORE const other = GetParam() == &memoryStore ? store.get() : opened.get();
    unsigned seen = 0;
    unsigned left = count;
    for (PCCERT_CONTEXT at = nullptr; (at = CertEnumCertificatesInStore(store.get(), at)) != nullptr;) {
        EXPECT_EQ(friendlyName(at).has_value(), seen != 0 && seen % 50 == 0) << seen;
        if (++seen % 50 != 0)
            continue;
        // The two behind it, which may have been read already: the first goes, the second gets a name.
        if (ContextHandle next = certificateAt(other, seen)) {
            ASSERT_TRUE(CertDeleteCertificateFromStore(next.release()));
            --left;
        }
        ContextHandle const second = certificateAt(other, seen);
        EXPECT_TRUE(!second || setFriendlyName(second.get(), L"named"));
    }
    EXPECT_EQ(seen, left);
}

TEST_P(Stores, DeletingTwiceAndDeletingWhileWalking) {
    addNumbers(2);
    ContextHandle one = find(store, certificate(1));
    ContextHandle same = find(store, certificate(1));
    EXPECT_TRUE(CertDeleteCertificateFromStore(one.release()));
    EXPECT_EQ(errorOf(CertDeleteCertificateFromStore, same.release()), code(CRYPT_E_NOT_FOUND));
    EXPECT_EQ(all(store), certificates({2}));
}

TEST_P(Stores, SearchesFindWhatTheyAreAskedFor) {
    addNumbers(3);
    ASSERT_TRUE(setKeyInfo(find(store, certificate(3)).get(), L"somewhere"));
    ContextHandle wanted = find(store, certificate(2));
    CERT_INFO& info = *wanted.get()->pCertInfo;
    CERT_ID const id{CERT_ID_ISSUER_SERIAL_NUMBER, {{info.Issuer, info.SerialNumber}}};
    CERT_ID wrong = id;
    wrong.IssuerSerialNumber.SerialNumber.cbData -= 1;
    Bytes sha1 = property(wanted.get(), CERT_SHA1_HASH_PROP_ID).value();
    CRYPT_HASH_BLOB hash{sizeOf(sha1), sha1.data()};
    Bytes keyIdentifier = property(wanted.get(), CERT_KEY_IDENTIFIER_PROP_ID).value();
    CERT_ID byKey{};
    byKey.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
    byKey.KeyId = {sizeOf(keyIdentifier), keyIdentifier.data()};
    DWORD const keyInfo = CERT_KEY_PROV_INFO_PROP_ID;
    DWORD const friendly = CERT_FRIENDLY_NAME_PROP_ID;
    DWORD const always = CERT_SHA1_HASH_PROP_ID;
    std::tuple<DWORD, void const*, std::vector<Bytes>> const rows[] = {
        {CERT_FIND_ANY, nullptr, certificates({1, 2, 3})},
        {CERT_FIND_PROPERTY, &keyInfo, certificates({3})},
        {CERT_FIND_PROPERTY, &friendly, {}},
        {CERT_FIND_PROPERTY, &always, certificates({1, 2, 3})},
        {CERT_FIND_CERT_ID, &id, certificates({2})},
        {CERT_FIND_CERT_ID, &wrong, {}},
        {CERT_FIND_CERT_ID, &byKey, certificates({1, 2, 3})}, // they share their key
        {CERT_FIND_SHA1_HASH, &hash, certificates({2})},
        {CERT_FIND_SUBJECT_NAME, &info.Subject, certificates({2})},
        {CERT_FIND_SUBJECT_CERT, &info, certificates({2})},
        {CERT_FIND_EXISTING, wanted.get(), certificates({2})},
    };
    for (auto const& [type, parameter, expected] : rows) {
        SCOPED_TRACE(type);
        std::vector<Bytes> found;
        PCCERT_CONTEXT at = nullptr;
        while ((at = CertFindCertificateInStore(store.get(), 1, 0, type, parameter, at)) != nullptr)
            found.push_back(encodingOf(at));
        EXPECT_EQ(GetLastError(), code(CRYPT_E_NOT_FOUND));
        EXPECT_EQ(found, expected);
    }
    for (DWORD const type : {CERT_FIND_CERT_ID, 0x00070000}) // without a parameter, and not among the kinds
        EXPECT_EQ(errorOf(CertFindCertificateInStore, store.get(), 1, 0, type, nullptr, nullptr),
                  code(E_INVALIDARG));
}

TEST_P(Stores, ContextsOutliveTheirStore) {
    context = add(store, certificate(1));
    ASSERT_TRUE(setFriendlyName(context.get(), L"still here"));
    EXPECT_EQ(context.get()->hCertStore, store.get());
    store.reset();
    EXPECT_EQ(friendlyName(context.get()), L"still here");
    EXPECT_EQ(encodingOf(context.get()), certificate(1));
}

TEST_P(Stores, AddingAContextTakesItsPropertiesAlong) {
    ContextHandle loose = contextOf(certificate(1));
    ASSERT_TRUE(setFriendlyName(loose.get(), L"name"));
    ASSERT_TRUE(setKeyInfo(loose.get(), L"container"));
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), loose.get(), CERT_STORE_ADD_NEW, nullptr));
    context = find(store, certificate(1));
    EXPECT_EQ(friendlyName(context.get()), L"name");
    EXPECT_EQ(property(context.get(), CERT_KEY_SPEC_PROP_ID), (Bytes{AT_KEYEXCHANGE, 0, 0, 0}));
    EXPECT_EQ(errorOf(CertDeleteCertificateFromStore, loose.release()), code(E_INVALIDARG));
}

TEST_P(Stores, ContextsOfAnotherStoreAreNoPosition) {
    ContextHandle foreign = add(memoryStore(), certificate(1));
    EXPECT_EQ(errorOf(CertEnumCertificatesInStore, store.get(), foreign.release()), code(E_INVALIDARG));
}

class Collections : public HoldingTest {};

TEST_F(Collections, MembersAreShownByPriorityAndEachOnce) {
    StoreHandle const collection(CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr));
    StoreHandle const low = memoryStore();
    StoreHandle const high = memoryStore();
    ASSERT_TRUE(CertAddStoreToCollection(collection.get(), low.get(), 0, 1));
    ASSERT_TRUE(CertAddStoreToCollection(collection.get(), high.get(), 0, 2));
    ASSERT_TRUE(CertAddStoreToCollection(collection.get(), low.get(), 0, 0));
    ASSERT_TRUE(add(low, certificate(1)));
    ASSERT_TRUE(add(high, certificate(2)));
    EXPECT_EQ(all(collection), certificates({2, 1}));
    EXPECT_EQ(errorOf([&] { return add(collection, certificate(3)); }), code(E_ACCESSDENIED))
        << "no member takes additions";
    StoreHandle const outer(CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr));
    ASSERT_TRUE(CertAddStoreToCollection(outer.get(), collection.get(), 0, 0));
    for (auto const& [into, from] : {std::pair(collection.get(), outer.get()),
                                     std::pair(outer.get(), outer.get()), std::pair(low.get(), high.get())})
        EXPECT_EQ(errorOf(CertAddStoreToCollection, into, from, 0, 0), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(Collections, ClosingTellsOfLivingContextsWhenAsked) {
    store = memoryStore();
    context = add(store, certificate(1));
    EXPECT_EQ(errorOf(CertCloseStore, store.release(), CERT_CLOSE_STORE_CHECK_FLAG),
              code(CRYPT_E_PENDING_CLOSE));
}

} // namespace

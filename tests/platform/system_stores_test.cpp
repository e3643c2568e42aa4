// The system stores of user and machine, and how one shows the other's certificates.
#include "layer_fixture.h"

#include <fstream>

using namespace layer_test;

namespace {

constexpr DWORD userFlags = CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_OPEN_EXISTING_FLAG;
constexpr DWORD machineFlags = CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_OPEN_EXISTING_FLAG;

class SystemStores : public LayerTest {
protected:
    SystemStores() : bundle(profile.file("bundle.pem")), variable("SSL_CERT_FILE", bundle.string()) {}

    // The first two certificates of the machine's own bundle, with something damaged between them.
    void writeBundle() {
        std::ifstream system(systemTrustBundle);
        std::ofstream out(bundle);
        int certificates = 0;
        for (std::string line; certificates < 2 && std::getline(system, line);) {
            out << line << '\n';
            if (line == "-----END CERTIFICATE-----" && ++certificates == 1)
                out << "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
        }
        trusted = readTrustBundle();
        trusted.resize(2);
    }

    static std::vector<std::pair<Bytes, unsigned>> withStates(StoreHandle const& store) {
        std::vector<std::pair<Bytes, unsigned>> seen;
        PCCERT_CONTEXT context = nullptr;
        while ((context = CertEnumCertificatesInStore(store.get(), context)) != nullptr)
            seen.emplace_back(encodingOf(context),
                              property(context, CERT_ACCESS_STATE_PROP_ID).value().at(0));
        return seen;
    }

    std::filesystem::path bundle;
    EnvironmentVariable variable;
    std::vector<Bytes> trusted;
};

TEST_F(SystemStores, OpeningTellsWhatExists) {
    std::tuple<wchar_t const*, DWORD, DWORD, char const*> const rows[] = {
        {L"MY", userFlags, 0, "always exists"},
        {L"my", userFlags, 0, "without regard to case"},
        {L"UserDS", userFlags, 0, "always exists"},
        {L"Other", userFlags, ERROR_FILE_NOT_FOUND, "was never made"},
        {L"Other", CERT_SYSTEM_STORE_CURRENT_USER, 0, "may be made"},
        {L"CA", machineFlags, ERROR_FILE_NOT_FOUND, "the machine has none"},
        {L"ROOT", machineFlags, ERROR_FILE_NOT_FOUND, "neither bundle nor database"},
        {L"", userFlags, ERROR_INVALID_PARAMETER, "no name"},
        {L"MY", CERT_STORE_OPEN_EXISTING_FLAG, ERROR_INVALID_PARAMETER, "no location"},
        {L"MY", userFlags | 1, ERROR_INVALID_PARAMETER, "unknown flag"},
    };
    for (auto const& [name, flags, expected, why] : rows) {
        SCOPED_TRACE(why);
        EXPECT_EQ(errorOf([&, &n = name, &f = flags] { return openStore(n, f); }), expected);
    }
    EXPECT_EQ(errorOf(CertOpenStore, WINCRYPT_POINTER(LPCSTR, 77), 0, 0, 0, nullptr),
              DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_TRUE(all(openStore("ROOT")).empty());
    EXPECT_FALSE(std::filesystem::exists(userDatabase())) << "opening and reading make nothing";
    EXPECT_TRUE(add(openStore("Other"), certificate(1)));
    EXPECT_TRUE(openStore(L"OTHER", userFlags));
}

TEST_F(SystemStores, TheMachinesCertificatesShowInBothScopesWithTheirStates) {
    writeBundle();
    ASSERT_TRUE(add(openStore(L"ROOT", CERT_SYSTEM_STORE_LOCAL_MACHINE), certificate(1))) << "in no bundle";
    ASSERT_TRUE(add(openStore("ROOT"), certificate(2)));
    std::vector<std::pair<Bytes, unsigned>> const user = {
        {certificate(2), 3}, {trusted[0], 2}, {trusted[1], 2}, {certificate(1), 2}};
    std::vector<std::pair<Bytes, unsigned>> const machine = {
        {trusted[0], 6}, {trusted[1], 6}, {certificate(1), 7}};
    EXPECT_EQ(withStates(openStore("ROOT")), user);
    EXPECT_EQ(withStates(openStore(L"ROOT", machineFlags)), machine);
    EXPECT_EQ(withStates(openStore(L"ROOT", machineFlags | CERT_STORE_READONLY_FLAG)).back().second, 6u);

    StoreHandle const both = openStore(L"ROOT", machineFlags);
    {
        StoreHandle const own = openStore(L"ROOT", userFlags);
        ASSERT_TRUE(CertAddStoreToCollection(both.get(), own.get(), CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG, 0));
    } // the collection holds it
    auto expected = machine;
    expected.insert(expected.end(), user.begin(), user.end());
    EXPECT_EQ(withStates(both), expected);
}

TEST_F(SystemStores, WhatIsReadOnlyStaysAsItIs) {
    writeBundle();
    ASSERT_TRUE(add(openStore(L"CA", CERT_SYSTEM_STORE_LOCAL_MACHINE), certificate(1)));
    StoreHandle const ca = openStore("CA");
    StoreHandle const root = openStore("ROOT");
    StoreHandle const readOnly = openStore(L"CA", machineFlags | CERT_STORE_READONLY_FLAG);
    EXPECT_EQ(errorOf([&] { return add(readOnly, certificate(2)); }), code(E_ACCESSDENIED));
    for (auto const& [store, encoding] : {std::pair(&ca, certificate(1)), std::pair(&root, trusted[0]),
                                          std::pair(&readOnly, certificate(1))}) {
        ContextHandle context = find(*store, encoding);
        EXPECT_EQ(errorOf([&] { return setFriendlyName(context.get(), L"x"); }), code(E_ACCESSDENIED));
        EXPECT_EQ(errorOf([&] { return setKeyInfo(context.get(), L"x"); }), code(E_ACCESSDENIED));
        EXPECT_EQ(errorOf(CertDeleteCertificateFromStore, context.release()), code(E_ACCESSDENIED));
        EXPECT_TRUE(find(*store, encoding));
    }
}

TEST_F(SystemStores, AChangedBundleShowsInTheNextWalk) {
    writeBundle();
    StoreHandle const root = openStore("ROOT");
    EXPECT_EQ(all(root), trusted);
    std::ofstream(bundle, std::ios::trunc) << "nothing\n";
    EXPECT_TRUE(all(root).empty());
}

TEST_F(SystemStores, AMachineDatabaseThatCantBeReadHidesNothingElse) {
    writeBundle();
    std::ofstream(machineDatabase()) << std::string(8192, 'x');
    ASSERT_TRUE(add(openStore("ROOT"), certificate(2)));
    EXPECT_EQ(all(openStore("ROOT")), (std::vector<Bytes>{certificate(2), trusted[0], trusted[1]}));
    EXPECT_EQ(all(openStore(L"ROOT", machineFlags)), trusted);
    EXPECT_EQ(errorOf([] { return openStore(L"CA", machineFlags); }), DWORD{ERROR_FILE_CORRUPT});
}

} // namespace

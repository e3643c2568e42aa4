#include "tvkstore_run.h"

#include "support/libcrypto.h"
#include "support/test_certificates.h"

#include <openssl/pem.h>

namespace {

std::string timeText(ASN1_TIME const* time) {
    struct tm parts {};
    requireCrypto(ASN1_TIME_to_tm(time, &parts) == 1, "ASN1_TIME_to_tm");
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

std::string serialText(ASN1_INTEGER const* serial) {
    Owned<BIO> const out(BIO_new(BIO_s_mem()));
    i2a_ASN1_INTEGER(out.get(), serial);
    return contentOf(out.get());
}

std::string sha1Text(Bytes const& encoding) {
    Bytes digest(20);
    requireCrypto(
        EVP_Q_digest(nullptr, "SHA1", nullptr, encoding.data(), encoding.size(), digest.data(), nullptr) == 1,
        "SHA1");
    return toHex(digest);
}

// What libcrypto says of a certificate, in the words of the listing.
nlohmann::json expectedOf(Bytes const& encoding) {
    Owned<X509> const certificate = decodeCertificate(encoding);
    X509* const raw = certificate.get();
    return {{"subject", nameText(X509_get_subject_name(raw))},
            {"issuer", nameText(X509_get_issuer_name(raw))},
            {"serial", serialText(X509_get0_serialNumber(raw))},
            {"notBefore", timeText(X509_get0_notBefore(raw))},
            {"notAfter", timeText(X509_get0_notAfter(raw))},
            {"sha1", sha1Text(encoding)},
            {"hasKey", false}};
}

// Each certificate is listed exactly once, as libcrypto reads it.
void expectListed(nlohmann::json const& listed, std::vector<Bytes> const& encodings) {
    std::multimap<std::string, nlohmann::json> expected;
    for (Bytes const& encoding : encodings)
        expected.emplace(sha1Text(encoding), expectedOf(encoding));
    for (nlohmann::json item : listed) {
        auto const found = expected.find(item["sha1"]);
        ASSERT_NE(found, expected.end()) << item;
        item.erase("label");
        item.erase("name");
        EXPECT_EQ(item, found->second);
        expected.erase(found);
    }
    EXPECT_TRUE(expected.empty()) << expected.size() << " are missing, first " << expected.begin()->second;
}

std::string pem(std::vector<Bytes> const& encodings) {
    Owned<BIO> const out(BIO_new(BIO_s_mem()));
    for (Bytes const& encoding : encodings)
        requireCrypto(PEM_write_bio(out.get(), PEM_STRING_X509, "", encoding.data(),
                                    static_cast<long>(encoding.size())) > 0,
                      "PEM_write_bio");
    return contentOf(out.get());
}

class StoreListingTest : public TvkstoreTest {
protected:
    // The machine's trusted certificates are these.
    void trust(std::vector<Bytes> const& encodings) {
        std::string const bundle = profile.file("bundle.pem").string();
        writeWhole(bundle, pem(encodings));
        environment.emplace_back("SSL_CERT_FILE", bundle);
        profileIsReady();
    }

    Bytes make(CertificateFields const& fields) const { return makeCertificate(fields, TestKey::shared()); }
};

TEST_F(StoreListingTest, TheMachinesRootsAreListedOnceEachAsLibcryptoReadsThem) {
    auto const bundle = readTrustBundle();
    expectListed(json({"list", "--store", "ROOT"}), bundle);
}

TEST_F(StoreListingTest, OddCertificatesAreListedAsLibcryptoReadsThem) {
    std::vector<Bytes> const odd{
        make({.subject = {{"CN", "Łódź, \"quoted\" + more;"}, {"O", " spaces "}}, .serial = Bytes(20, 0xFF)}),
        make({.subject = {{"CN", std::string("\x04\x16\x04\x38", 4), NameText::Bmp}}, .serial = {0x00}}),
        make({.subject = {{"CN", "caf\xE9", NameText::Teletex}, {"1.2.3.4", "unknown"}}, .serial = {0x80}}),
        make({.subject = {{"CN", "a"}, {.type = "OU", .value = "b", .inSetOfPrevious = true}},
              .serial = {1, 0}}),
        make({.subject = {}, .serial = {0x0C}}),
    };
    trust(odd);
    expectListed(json({"list", "--store", "ROOT"}), odd);
}

TEST_F(StoreListingTest, ADamagedEntryIsToldAndHidesNoOther) {
    Bytes const first = make({.serial = {1}});
    Bytes const last = make({.serial = {3}});
    trust({first, Bytes(first.begin(), first.end() - 9), last});
    expectListed(json({"list", "--store", "ROOT"}, 5), {first, last});
    EXPECT_NE(run({"list", "--store", "ROOT"}).error.find("certificate 2 is damaged"), std::string::npos);
    EXPECT_EQ(json({"show", "--store", "ROOT", "--serial", "3", "--issuer", "CN=Test"}).size(), 1u);
    // The damaged one may be the one that is asked for.
    EXPECT_EQ(run({"show", "--store", "ROOT", "--serial", "2", "--issuer", "CN=Test"}).exitCode, 5);
}

TEST_F(StoreListingTest, NamesOfStrangersCantReachTheTerminal) {
    trust({make({.subject = commonName("red \x1B[31m\xE2\x80\xAEtxt.exe")})});
    for (Words const& words :
         {Words{"list", "--store", "ROOT"}, Words{"show", "--serial", "1", "--issuer", "CN=x"}}) {
        ProgramResult const result = run(words);
        EXPECT_EQ((result.output + result.error).find('\x1B'), std::string::npos);
        EXPECT_EQ((result.output + result.error).find("\xE2\x80\xAE"), std::string::npos);
    }
}

TEST_F(StoreListingTest, ColumnsStandInLineForWideLetters) {
    trust({make({.subject = commonName("ab")}), make({.subject = commonName("漢字"), .serial = {2}})});
    std::string const output = run({"list", "--store", "ROOT"}).output;
    // Two letters of one column and two of two columns, each up to the issuer.
    EXPECT_NE(output.find("01      cn=ab    CN=ab\n"), std::string::npos) << output;
    EXPECT_NE(output.find("02      cn=漢字  CN=漢字\n"), std::string::npos) << output;
}

TEST_F(StoreListingTest, AnItemIsShownByEachOfItsNames) {
    Bytes const first = make({.subject = commonName("same"), .serial = {0xC3, 0x0A}});
    Bytes const second = make({.subject = commonName("same"), .serial = {0x02}});
    trust({first, second});
    std::string const file = profile.file("first.der").string();
    writeWhole(file, std::string(first.begin(), first.end()));
    writeWhole(profile.file("first.pem"), pem({first}));
    profileIsReady();

    std::string const wanted = sha1Text(first);
    for (Words words : {Words{"--cert", file}, Words{"--cert", file.substr(0, file.size() - 3) + "pem"},
                        Words{"--serial", "C30A", "--issuer", "CN=same"},
                        Words{"--serial", "0:c3:a", "--issuer", "CN=same"},
                        Words{"--serial", "0x00c30a", "--issuer", "CN=same"},
                        Words{"--label", "cn=same##0:c3:a##CN=same"}}) {
        SCOPED_TRACE(testing::PrintToString(words));
        words.insert(words.begin(), {"show", "--store", "ROOT"});
        auto const shown = json(words);
        ASSERT_EQ(shown.size(), 1u);
        EXPECT_EQ(shown[0]["sha1"], wanted);
        EXPECT_EQ(shown[0]["publicKeyBits"], 2048);
    }
    EXPECT_EQ(json({"show", "--store", "ROOT", "--label", "cn=same"}).size(), 2u) << "one name for two items";
    EXPECT_EQ(run({"show", "--store", "ROOT", "--keys", "--cert", file}).exitCode, 1) << "it has no key";
}

TEST_F(StoreListingTest, AnEmptyStoreIsNoFailure) {
    EXPECT_EQ(json({"list"}), nlohmann::json::array());
    EXPECT_EQ(run({"list", "--keys"}).output, "no certificates\n");
}

} // namespace

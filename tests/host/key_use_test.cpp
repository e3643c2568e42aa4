#include "tvkstore_run.h"

#include "support/test_certificates.h"

namespace {

std::string text(Bytes const& bytes) { return {bytes.begin(), bytes.end()}; }

// A user with the item "alice" in "MY".
class KeyUseTest : public WorkFolderTest {
protected:
    void SetUp() override {
        auto const certificate = makeCertificate(
            {.subject = {{.type = "O", .value = "Acme, Inc"}, {.type = "CN", .value = "Alice"}},
             .serial = {0x80, 0x01}},
            TestKey::shared());
        writeWhole(file("key"), text(TestKey::shared().privateKeyInfo()));
        writeWhole(file("cert"), text(certificate));
        writeWhole(file("public"), text(TestKey::shared().publicKeyInfo()));
        writeWhole(file("foreign"), text(TestKey::shared(1024).publicKeyInfo()));
        writeWhole(file("data"), std::string(200000, 'd'));
        for (std::size_t const length : {0, 1, 36, 245, 246, 256})
            writeWhole(file(std::to_string(length)), std::string(length, 'x'));
        expectRun({"import", "=cert", "--key", "=key", "--label", "alice"}, 0);
        database = readWhole(profile.userHome() / "user.db");
    }

    // A reader of an existing database touches its folder, but nothing in it.
    void TearDown() override {
        EXPECT_EQ(readWhole(profile.userHome() / "user.db"), database);
        profileIsReady();
    }

    std::string database;
};

TEST_F(KeyUseTest, SignaturesAreThoseOfOpensslBothWays) {
    for (std::string const digest : {"md5", "sha1"}) {
        SCOPED_TRACE(digest);
        std::string const ours = "=ours." + digest;
        std::string const theirs = "=theirs." + digest;
        expectRun({"sign", "--label", "alice", "--digest", digest, "--in", "=data", "--out", ours}, 0);
        call({"openssl", "dgst", "-" + digest, "-keyform", "DER", "-sign", "=key", "-out", theirs, "=data"});
        EXPECT_EQ(readWhole(expand({ours})[0]), readWhole(expand({theirs})[0]));
        for (Words const& key : {Words{"--label", "alice"}, Words{"--cert", "=cert"}}) {
            Words words{"verify", "--digest", digest, "--in", "=data", "--signature", theirs};
            words.insert(words.end(), key.begin(), key.end());
            expectRun(words, 0, "the signature verifies");
            words[4] = "=246";
            expectRun(words, 1, "does not verify");
            words[6] = "=1";
            expectRun(words, 1, "does not verify");
        }
    }
    call({"openssl", "dgst", "-sha512", "-keyform", "DER", "-sign", "=key", "-out", "=512", "=data"});
    expectRun({"verify", "--cert", "=cert", "--digest", "sha512", "--in", "=data", "--signature", "=512"}, 0);
    EXPECT_EQ(json(expand({"verify", "--cert", "=cert", "--in", "=data", "--signature", "=512"}), 1),
              (nlohmann::json{{"verifies", false}}));
}

TEST_F(KeyUseTest, BlocksAreThoseOfOpensslBothWays) {
    for (std::string const length : {"0", "1", "245"}) {
        SCOPED_TRACE(length);
        std::string const plain = readWhole(file(length));
        expectRun({"encrypt", "--label", "alice", "--in", "=" + length, "--out", "=ours" + length}, 0);
        call({"openssl", "pkeyutl", "-decrypt", "-keyform", "DER", "-inkey", "=key", "-in", "=ours" + length,
              "-out", "=plain" + length});
        EXPECT_EQ(readWhole(file("plain" + length)), plain);
        call({"openssl", "pkeyutl", "-encrypt", "-pubin", "-keyform", "DER", "-inkey", "=public", "-in",
              "=" + length, "-out", "=theirs" + length});
        EXPECT_EQ(run(expand({"decrypt", "--cert", "=cert", "--in", "=theirs" + length})).output, plain);
    }
    expectRun({"encrypt", "--cert", "=cert", "--in", "=36", "--out", "=ours36"}, 0);
    EXPECT_EQ(run(expand({"decrypt", "--label", "alice", "--in", "=ours36"})).output, std::string(36, 'x'));
}

TEST_F(KeyUseTest, WhatCantBeDoneIsSaidAndLeavesNoFile) {
    std::string const before = testing::PrintToString(snapshot(work.path()));
    for (auto const& [words, exitCode, message] : std::vector<std::tuple<Words, int, char const*>>{
             {{"sign", "--label", "bob", "--in", "=data", "--out", "=new"}, 1, "private key with label bob"},
             {{"sign", "--label", "alice", "--digest", "sha256"}, 2, "it is one of md5, sha1"},
             {{"sign", "--label", "alice", "--in", "=data", "--out", "=data"}, 2, "is the input too"},
             {{"sign", "--label", "alice", "--in", "/", "--out", "=new"}, 3, "/: Is a directory"},
             {{"verify", "--label", "alice", "--signature", "=1", "--digest", "sha256"}, 2, "--cert FILE"},
             {{"verify", "--cert", "=cert", "--signature", "=1", "--provider", "Nobody"}, 2, "no provider"},
             {{"encrypt", "--label", "alice", "--in", "=36", "--out", "=new"}, 2, "signed, not encrypted"},
             {{"encrypt", "--label", "alice", "--in", "=246", "--out", "=new"}, 2, "encrypts at most 245"},
             {{"encrypt", "--cert", "=cert", "--in", "=data", "--out", "=new"}, 3, "larger than"},
             {{"decrypt", "--label", "alice", "--in", "=256", "--out", "=new"}, 3, "code 578014"},
             {{"decrypt", "--label", "alice", "--in", "=1", "--out", "=new"}, 3, "has 256"},
             {{"find", "--subject", "Nope=x"}, 2, "can't be part of a name"},
             {{"find", "--public-key", "=cert"}, 3, "holds no public key"},
         }) {
        SCOPED_TRACE(testing::PrintToString(words));
        expectRun(words, exitCode, message);
    }
    EXPECT_EQ(testing::PrintToString(snapshot(work.path())), before);
}

TEST_F(KeyUseTest, EachIndexFindsItsItemAndNoOther) {
    for (auto const& [words, exitCode] : std::vector<std::pair<Words, int>>{
             {{"--label", "alice"}, 0},
             {{"--label", "Alice"}, 1},
             {{"--subject", R"(cn = ALICE , O=Acme\, Inc)"}, 0},
             {{"--subject", R"(2.5.4.3=#0C05416C696365,O="Acme,\20Inc")"}, 0},
             {{"--subject", R"(CN=Alice+O=Acme\, Inc)"}, 1},
             {{"--serial", "80:01", "--issuer", R"(CN=Alice,O=Acme\, Inc)"}, 0},
             {{"--serial", "-80:01", "--issuer", R"(CN=Alice,O=Acme\, Inc)"}, 1},
             {{"--public-key", "=public"}, 0},
             {{"--public-key", "=foreign"}, 1},
             {{"--cert", "=cert"}, 0},
         }) {
        SCOPED_TRACE(testing::PrintToString(words));
        Words command{"find"};
        command.insert(command.end(), words.begin(), words.end());
        expectRun(command, exitCode, exitCode == 0 ? "8001" : "no such certificate in store MY");
        if (exitCode == 0) {
            EXPECT_EQ(json(expand(command)), json({"list"}));
        }
    }
}

} // namespace

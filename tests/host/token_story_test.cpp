// Keys on a token, from the command line: what the program does with them, and what other programs see.
#include "support/scratch_tokens.h"
#include "tvkstore_run.h"

#include <algorithm>

namespace {

class TokenStoryTest : public WorkFolderTest {
protected:
    TokenStoryTest() { tokens.setModule(tokens.softHsm); }
    void SetUp() override {}
    void TearDown() override { profileIsReady(); }

    // The names of what is listed, those without a key in brackets.
    std::string listed(Words words) {
        words.insert(words.begin(), "list");
        std::string names;
        for (auto const& item : json(words))
            names += (item["hasKey"] ? item["name"].get<std::string>()
                                     : '[' + item["name"].get<std::string>() + ']') +
                     ' ';
        return names;
    }

    ScratchTokens tokens{work};
    std::string const label = tokens.add();
};

TEST_F(TokenStoryTest, IsThatOfAnyOtherKey) {
    for (std::string const& provider : {label, tokens.uriOf(label)}) {
        SCOPED_TRACE(provider);
        std::string const tvkstore = "$0 --provider '" + provider + "' ";
        expectScript("s() { " + tvkstore + R"("$@"; }; rm -f *.*; echo the key is under the mat >letter
            s create --label alice --subject CN=Alice --days 9
            s sign --label alice --in letter --out by.token
            $0 sign --label alice --in letter --out by.store
            cmp by.token by.store
            s verify --label alice --in letter --signature by.token
            s export --label alice --out alice.pem
            s export --label alice --public-key --out alice.pub
            openssl dgst -sha1 -verify alice.pub -signature by.token letter
            openssl verify -CAfile alice.pem alice.pem
            s encrypt --cert alice.pem --in letter --out letter.enc
            s decrypt --label alice --in letter.enc | cmp - letter
            openssl pkeyutl -encrypt -certin -inkey alice.pem -in letter | s decrypt --label alice | cmp - letter)");
        EXPECT_EQ(listed({"--provider", provider, "--keys"}), "alice ");
        EXPECT_EQ(listed({}), "alice ");
        for (auto const& [tool, option] :
             {std::pair{"pkcs11-tool", "--list-objects"}, {"p11tool", "--list-all-certs"}}) {
            std::string const objects = tokens.tool(label, {tool, option});
            EXPECT_NE(objects.find("Certificate"), std::string::npos) << objects;
            EXPECT_NE(objects.find("alice"), std::string::npos) << objects;
        }
        expectRun({"--provider", provider, "export", "--label", "alice", "--private-key"}, 4, "may not");
        expectRun({"--provider", provider, "update", "--label", "alice", "--new-label", "Zoë"}, 0, "now Zoë");
        EXPECT_EQ(listed({"--provider", provider, "--keys"}), "Zoë ");
        expectScript("! grep pkcs11: $WINCRYPT_USER_HOME/user.db*"); // which only this layer would understand
        expectRun({"--provider", provider, "delete", "--label", "Zoë", "--force"}, 0, "and 1 private key");
        EXPECT_EQ(listed({"--provider", provider}) + listed({}), "");
        EXPECT_EQ(tokens.tool(label, {"pkcs11-tool", "--list-objects"}).find("alice"), std::string::npos);
    }
    expectRun({"--provider", "pkcs11:token=none", "list"}, 2, "no such token");
    expectRun({"--provider", "none", "list"}, 2, label);
}

TEST_F(TokenStoryTest, ABrokenModuleIsToldToThoseWhoAskForTokens) {
    tokens.setModule(tokens.faulty);
    tokens.write("behaviour", "remove 1\n");
    EXPECT_EQ(run({"list"}).error, "");
    expectRun({"list"}, 0, "no certificates");
    expectRun({"providers"}, 0, "token module scratch-");
    expectRun({"--provider", label, "list"}, 2, "token module scratch-");
}

TEST_F(TokenStoryTest, OfACardThatAnotherProgramFilled) {
    expectScript(
        "openssl genpkey -quiet -algorithm RSA -out key; openssl req -x509 -key key -subj /CN=Bob -days 9 "
        "-out cert");
    auto const write = [&](std::string const& kind, char const* id, Words more = {}) {
        Words words{"p11tool", "--write", "--load-" + kind, file(kind == "privkey" ? "key" : "cert"),
                    "--id",    id,        "--label",        "card"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    };
    Words const exchange = write("privkey", "05", {"--mark-sign", "--mark-decrypt"});
    Words const signature = write("privkey", "06", {"--mark-sign"});
    Words const ofExchange = write("certificate", "05"), ofSignature = write("certificate", "06");
    // What lies on the card, the exit code of listing and whether Bob is listed, that of signing, the
    // message.
    using Row = std::tuple<char const*, std::vector<Words>, int, bool, int, char const*>;
    for (auto const& [why, fill, listing, isListed, signing, message] :
         {Row{"no key", {}, 0, false, 1, "no certificate with a private key"},
          Row{"an exchange key with its certificate", {exchange, ofExchange}, 0, true, 0, ""},
          Row{"a signature key alone", {signature, ofSignature}, 0, true, 3, "578015"},
          Row{"both with one label", {exchange, signature, ofExchange, ofSignature}, 0, true, 0, ""},
          Row{"one without its own", {exchange, signature, ofSignature}, 3, false, 3, "context fail"}}) {
        SCOPED_TRACE(why);
        std::string const card = tokens.add();
        for (Words const& words : fill)
            tokens.tool(card, words);
        auto const list = run({"--provider", card, "list", "--keys", "--json"});
        EXPECT_EQ(list.exitCode, listing) << list.error;
        std::size_t const place = list.output.find("CN=Bob");
        EXPECT_EQ(place != std::string::npos, isListed) << list.output;
        expectRun({"--provider", card, "sign", "--cert", "=cert", "--in", "=key", "--out", "=signature"},
                  signing, message);
        if (signing == 0)
            expectScript(
                "openssl x509 -in cert -noout -pubkey >pub; openssl dgst -sha1 -verify pub -signature "
                "signature key; rm signature; $0 delete --all --force");
    }
}

} // namespace

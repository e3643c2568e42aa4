// What the programs leave of private keys, of the sealing key and of passphrases: nothing in their memory,
// nothing in what they write about their work.
#include "support/libcrypto.h"
#include "support/secrets.h"
#include "support/test_certificates.h"
#include "tvkstore_run.h"

#include <openssl/sha.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

using test_support::TestKey;

namespace {

constexpr char passphrase[] = "correct horse battery staple";
constexpr char wrongPassphrase[] = "wrong horse battery staple";

class SecretsTest : public WorkFolderTest {
protected:
    void SetUp() override {
        auto const certificate = makeCertificate({.subject = test_support::commonName("Alice")}, key);
        for (auto const& [name, bytes] :
             {std::pair{"key.der", key.privateKeyInfo()}, {"cert.der", certificate}})
            writeWhole(file(name), {bytes.begin(), bytes.end()});
        writeWhole(file("right"), passphrase);
        writeWhole(file("wrong"), wrongPassphrase);
        writeWhole(file("data"), "data");
        expectScript(R"(openssl pkey -in key.der -inform DER -out key
            openssl x509 -in cert.der -inform DER -out cert
            openssl pkcs12 -export -inkey key -in cert -passout file:right -out p12
            openssl pkcs8 -topk8 -in key -passout file:right -out sealed
            openssl pkeyutl -encrypt -certin -inkey cert -in data -out secret)");
        secrets.add(key.get());
        secrets.add("passphrase", passphrase);
        secrets.add("wrong passphrase", wrongPassphrase);
    }
    void TearDown() override { profileIsReady(); }

    void addSealingKey() {
        std::string const secret = readWhole(profile.userHome() / "sealing.key");
        std::string const labelled = std::string("wincrypt sealing key 1") + '\0' + secret;
        unsigned char sealing[SHA256_DIGEST_LENGTH];
        SHA256(reinterpret_cast<unsigned char const*>(labelled.data()), labelled.size(), sealing);
        secrets.add("sealing secret", secret);
        secrets.add("sealing key", {reinterpret_cast<char const*>(sealing), sizeof sealing});
    }

    void expectNothingLeft(Words words, int exitCode) {
        SCOPED_TRACE(testing::PrintToString(words));
        words = expand(words);
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        int status = -1;
        auto const left = test_support::leftAtTheEnd(
            [&] {
                for (int const stream : {STDOUT_FILENO, STDERR_FILENO})
                    ::dup2(::open(file("said").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), stream);
                ::execv(arguments[0], arguments.data());
            },
            [&] { return secrets; }, status);
        EXPECT_EQ(left, (std::map<std::string, int>{}));
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == exitCode)
            << status << readWhole(file("said"));
    }

    TestKey const key{2048};
    test_support::Secrets secrets;
};

TEST_F(SecretsTest, NothingIsLeftInMemoryOrTold) {
    test_support::EnvironmentVariable const log("WINCRYPT_LOG", "stderr");
    // Or the loader, at its first call of a function, puts on the stack what registers hold from a copy
    // before.
    test_support::EnvironmentVariable const noLazyBinding("LD_BIND_NOW", "1");
    std::pair<Words, int> const rows[] = {
        {{TVKSTORE, "--trace", "import", "=cert", "--key", "=key"}, 0},
        {{TVKSTORE, "--trace", "sign", "--label", "Alice", "--in", "=data", "--out", "=signature"}, 0},
        {{TVKSTORE, "--trace", "decrypt", "--label", "Alice", "--in", "=secret", "--out", "=clear"}, 0},
        {{TVKSTORE, "--trace", "export", "--label", "Alice", "--private-key", "--out", "=exported"}, 0},
        {{WINCRYPTCTL, "check"}, 0},
        {{TVKSTORE, "--trace", "delete", "--label", "Alice", "--force"}, 0},
        {{TVKSTORE, "--trace", "import", "=p12", "--passphrase-source", "file:" + file("wrong")}, 4},
        {{TVKSTORE, "--trace", "import", "=cert", "--key", "=sealed", "--passphrase-source",
          "file:" + file("right")},
         0},
        {{TVKSTORE, "--trace", "delete", "--label", "Alice", "--force"}, 0},
        {{TVKSTORE, "--trace", "import", "=p12", "--passphrase-source", "file:" + file("right")}, 0},
    };
    for (auto const& [words, exitCode] : rows) {
        expectNothingLeft(words, exitCode);
        if (&words == &rows[0].first)
            addSealingKey();
    }
    EXPECT_EQ(secrets.foundIn(readWhole(file("said"))), (std::map<std::string, int>{}));
}

} // namespace

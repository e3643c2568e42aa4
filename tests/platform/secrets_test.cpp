// What processes that have closed everything leave of private keys, of the sealing key and of passphrases:
// nothing in their memory, and nothing in what they say about their work.
#include "layer_fixture.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

namespace layer_test {
namespace {

using Names = std::set<std::string>;

class Secrecy : public LayerTest {
protected:
    // As it is, from the last byte to the first as libcrypto's numbers stand in memory, and as text.
    void addSecret(std::string const& name, std::string const& bytes) {
        addForm(name, bytes);
        addForm(name, {bytes.rbegin(), bytes.rend()});
        std::string digits(bytes.size() * 2, '\0');
        for (std::size_t i = 0; i < digits.size(); ++i)
            digits[i] = "0123456789abcdef"[bytes[i / 2] >> (i % 2 == 0 ? 4 : 0) & 0xF];
        addForm(name, digits);
        for (std::size_t i = 0; i < 3; ++i) {
            int const size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(digits.data()),
                                             reinterpret_cast<unsigned char const*>(&bytes[i]),
                                             static_cast<int>((bytes.size() - i) / 3 * 3));
            addForm(name, digits.substr(0, static_cast<std::size_t>(size)));
        }
    }

    // Of a 2048 bit key in DER, the numbers behind those that the public key has too.
    void addKey(std::string const& encoding) { addSecret("key", encoding.substr(encoding.size() - 900)); }

    Names foundIn(std::string_view memory) const {
        Names found;
        for (std::size_t i = 0; i + pieceSize <= memory.size(); ++i)
            if (starts_[startOf(&memory[i])])
                if (auto const piece = pieces_.find(memory.substr(i, pieceSize)); piece != pieces_.end())
                    found.insert(piece->second);
        return found;
    }

    // Runs the body in a process of its own, or the program that it executes there; gives what is in the
    // memory that it could write, right before it is gone.
    Names leftAtTheEnd(
        std::function<bool()> const& body, std::function<void()> const& atTheEnd = [] {}) {
        pid_t const process = ::fork();
        if (process == 0)
            ::_exit(::ptrace(PTRACE_TRACEME, 0, 0, 0) == 0 && ::raise(SIGSTOP) == 0 && body() ? 0 : 1);
        Names found;
        std::ifstream maps;
        std::ifstream memory;
        while (::waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
            if (status >> 16 == PTRACE_EVENT_EXIT) {
                atTheEnd();
                limits = readWhole("/proc/" + std::to_string(process) + "/limits");
                found = foundIn(maps, memory);
            } else { // opened before the process closes itself to others
                ::ptrace(PTRACE_SETOPTIONS, process, 0, PTRACE_O_TRACEEXEC | PTRACE_O_TRACEEXIT);
                maps = std::ifstream("/proc/" + std::to_string(process) + "/maps");
                memory = std::ifstream("/proc/" + std::to_string(process) + "/mem");
            }
            ::ptrace(PTRACE_CONT, process, 0, 0);
        }
        return found;
    }

    int status = -1; // of the process, as waitpid gives it
    std::string limits;

private:
    // So many bytes are no accident; the allocator itself overwrites the first ones of what is freed.
    static constexpr std::size_t pieceSize = 12;

    static std::size_t startOf(char const* bytes) {
        return static_cast<unsigned char>(bytes[0]) << 8 | static_cast<unsigned char>(bytes[1]);
    }

    void addForm(std::string const& name, std::string const& form) {
        for (std::size_t i = 0; i + pieceSize <= form.size(); i += 4) {
            starts_[startOf(&form[i])] = true;
            pieces_.emplace(form.substr(i, pieceSize), name);
        }
    }

    Names foundIn(std::ifstream& maps, std::ifstream& memory) const {
        Names found;
        for (std::string line; std::getline(maps, line);) {
            unsigned long from = 0;
            unsigned long to = 0;
            if (std::sscanf(line.c_str(), "%lx-%lx", &from, &to) != 2 || line.find(" rw") > line.size())
                continue;
            std::string bytes(to - from, '\0');
            memory.seekg(static_cast<std::streamoff>(from));
            EXPECT_TRUE(memory.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) << line;
            found.merge(foundIn(bytes));
        }
        return found;
    }

    std::map<std::string, std::string, std::less<>> pieces_;
    std::vector<bool> starts_ = std::vector<bool>(65536);
};

// What the programs do with keys of files is tried below; this one is made here, and left in the file.
bool makeAKey(std::string const& file) {
    ProviderHandle const provider = newContainer("made", 2048);
    BYTE exported[2048];
    DWORD size = sizeof exported;
    char rsa[] = szOID_RSA_RSA;
    bool const good = CryptExportPKCS8(provider.get(), AT_KEYEXCHANGE, rsa, 0, nullptr, exported, &size);
    int const out = ::open(file.c_str(), O_WRONLY | O_CREAT, 0600);
    bool const written = ::write(out, exported, size) == static_cast<ssize_t>(size);
    OPENSSL_cleanse(exported, sizeof exported);
    return good && written;
}

TEST_F(Secrecy, NothingIsLeftOfAKeyThatWasMade) {
    std::string const file = profile.file("exported");
    EXPECT_EQ(leftAtTheEnd([&] { return makeAKey(file); }, [&] { addKey(readWhole(file)); }), Names{});
    EXPECT_EQ(status, 0);
}

// The callback of an import is shown the layer's own copy of the key.
TEST_F(Secrecy, NoCoreFileHoldsTheLayersCopies) {
    Bytes key = test_support::TestKey::shared().privateKeyInfo();
    CRYPT_PKCS8_IMPORT_PARAMS given{};
    given.PrivateKey = {code(key.size()), key.data()};
    given.pResolvehCryptProvFunc = [](CRYPT_PRIVATE_KEY_INFO* info, HCRYPTPROV*, LPVOID) {
        auto const place = reinterpret_cast<std::uintptr_t>(info->PrivateKey.pbData);
        std::ifstream maps("/proc/self/smaps");
        bool isThere = false;
        for (std::string line; std::getline(maps, line);) {
            unsigned long from = 0;
            unsigned long to = 0;
            if (std::sscanf(line.c_str(), "%lx-%lx", &from, &to) == 2)
                isThere = from <= place && place < to;
            if (isThere && line.find("VmFlags:") == 0)
                SetLastError(line.find(" dd") < line.size() ? ERROR_CANCELLED : ERROR_INTERNAL_ERROR);
        }
        return FALSE;
    };
    EXPECT_EQ(errorOf(CryptImportPKCS8, given, DWORD{0}, nullptr, nullptr), DWORD{ERROR_CANCELLED});
}

TEST_F(Secrecy, NothingIsLeftByProgramsNorTold) {
    // Else the loader, when a function is first called, puts on the stack what registers hold of a copy.
    test_support::EnvironmentVariable const noLazyBinding("LD_BIND_NOW", "1");
    test_support::EnvironmentVariable const log("WINCRYPT_LOG", "stderr");
    test_support::EnvironmentVariable const home("H", profile.directory().path().string());
    ASSERT_EQ(std::system(R"(cd $H; printf 'correct horse battery staple' >right; rev right >wrong
        openssl genpkey -quiet -algorithm RSA -out key; openssl pkey -in key -outform DER -out key.der
        openssl req -x509 -key key -subj /CN=Alice -days 9 -out cert
        openssl pkcs12 -export -inkey key -in cert -passout file:right -out p12
        openssl pkcs8 -topk8 -in key -passout file:right -out sealed
        openssl pkeyutl -encrypt -certin -inkey cert -in right -out secret)"),
              0);
    addKey(readWhole(profile.file("key.der")));
    addSecret("passphrase", readWhole(profile.file("right"))); // and with it the wrong one
    std::pair<char const*, int> const rows[] = {
        {TVKSTORE " --trace import cert --key key", 0},
        {TVKSTORE " --trace sign --label Alice --in cert --out signature", 0},
        {TVKSTORE " --trace decrypt --label Alice --in secret --out clear", 0},
        {TVKSTORE " --trace export --label Alice --private-key --out exported", 0},
        {WINCRYPTCTL " check", 0},
        {TVKSTORE " --trace delete --label Alice --force", 0},
        {TVKSTORE " --trace import p12 --passphrase-source file:wrong", 4},
        {TVKSTORE " --trace import p12 --passphrase-source file:right", 0},
        {TVKSTORE " --trace delete --label Alice --force", 0},
        {TVKSTORE " --trace import cert --key sealed --passphrase-source file:right", 0},
    };
    for (auto const& [line, exitCode] : rows) {
        SCOPED_TRACE(line);
        std::string const command = std::string("cd $H; exec >>said 2>&1; exec ") + line;
        EXPECT_EQ(leftAtTheEnd([&] { return ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr) == 0; }),
                  Names{});
        EXPECT_EQ(status, exitCode << 8) << readWhole(profile.file("said"));
        EXPECT_NE(limits.find("Max core file size        1 "), std::string::npos) << limits;
        if (line != rows[0].first)
            continue;
        ASSERT_EQ(std::system("cd $H; { printf 'wincrypt sealing key 1\\0'; cat user/sealing.key; } |"
                              "openssl sha256 -binary >sealing"),
                  0);
        addSecret("sealing secret", readWhole(profile.userHome() / "sealing.key"));
        addSecret("sealing key", readWhole(profile.file("sealing")));
    }
    EXPECT_EQ(foundIn(readWhole(profile.file("said"))), Names{});
}

} // namespace
} // namespace layer_test

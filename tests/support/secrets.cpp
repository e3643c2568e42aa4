#include "support/secrets.h"

#include "support/libcrypto.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <bitset>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace test_support {

namespace {

// So many bytes of a secret are no accident; those at the start of freed memory the allocator overwrites.
constexpr std::size_t pieceSize = 12;
constexpr std::size_t pieceStep = 4;

std::string hexadecimal(std::string_view bytes, char const* digits) {
    std::string text;
    for (char const byte : bytes)
        (text += digits[static_cast<unsigned char>(byte) >> 4]) += digits[byte & 0xF];
    return text;
}

std::string base64(std::string_view bytes) {
    std::string text(bytes.size() / 3 * 4 + 8, '\0');
    text.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                                         reinterpret_cast<unsigned char const*>(bytes.data()),
                                                         static_cast<int>(bytes.size() / 3 * 3))));
    return text;
}

void require(bool good, char const* what) {
    if (!good)
        throw std::runtime_error(what + std::string(": ") + std::strerror(errno));
}

// The memory of a process that stands still, opened while whoever traces it may still do so.
class Memory {
public:
    explicit Memory(pid_t process)
        : maps_("/proc/" + std::to_string(process) + "/maps"),
          file_(::open(("/proc/" + std::to_string(process) + "/mem").c_str(), O_RDONLY | O_CLOEXEC)) {
        require(maps_ && file_ >= 0, "memory of the process");
    }
    ~Memory() { ::close(file_); }
    Memory(Memory const&) = delete;
    Memory& operator=(Memory const&) = delete;

    std::map<std::string, int> find(Secrets const& secrets) {
        std::map<std::string, int> found;
        for (std::string line; std::getline(maps_, line);) {
            unsigned long from = 0;
            unsigned long to = 0;
            char mode[5];
            if (std::sscanf(line.c_str(), "%lx-%lx %4s", &from, &to, mode) != 3 || mode[1] != 'w')
                continue;
            std::string bytes(to - from, '\0');
            require(::pread(file_, bytes.data(), bytes.size(), static_cast<off_t>(from)) ==
                        static_cast<ssize_t>(bytes.size()),
                    line.c_str());
            for (auto const& [name, count] : secrets.foundIn(bytes))
                found[name + line.substr(line.find_last_of(' '))] += count;
        }
        return found;
    }

private:
    std::ifstream maps_;
    int file_;
};

} // namespace

void Secrets::addForm(std::string const& name, std::string_view form) {
    for (std::size_t i = 0; i + pieceSize <= form.size(); i += pieceStep) {
        std::uint32_t start = 0;
        std::memcpy(&start, &form[i], sizeof start);
        starts_.insert(start);
        pieces_.emplace(form.substr(i, pieceSize), name);
    }
}

void Secrets::add(std::string const& name, std::string_view bytes) {
    addForm(name, bytes);
    addForm(name, std::string(bytes.rbegin(), bytes.rend()));
    for (char const* digits : {"0123456789abcdef", "0123456789ABCDEF"})
        addForm(name + " in hexadecimal", hexadecimal(bytes, digits));
    for (std::size_t skipped = 0; skipped < 3; ++skipped)
        addForm(name + " in base64", base64(bytes.substr(skipped)));
}

void Secrets::add(evp_pkey_st* rsaPrivateKey) {
    for (char const* name :
         {OSSL_PKEY_PARAM_RSA_D, OSSL_PKEY_PARAM_RSA_FACTOR1, OSSL_PKEY_PARAM_RSA_FACTOR2,
          OSSL_PKEY_PARAM_RSA_EXPONENT1, OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1}) {
        BIGNUM* number = nullptr;
        requireCrypto(EVP_PKEY_get_bn_param(rsaPrivateKey, name, &number) == 1, name);
        std::string bytes(static_cast<std::size_t>(BN_num_bytes(number)), '\0');
        BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.data()));
        BN_clear_free(number);
        add(name, bytes);
    }
}

std::map<std::string, int> Secrets::foundIn(std::string_view bytes) const {
    std::bitset<65536> hashes;
    auto const hash = [](std::uint32_t start) { return start * 2654435761U >> 16; };
    for (std::uint32_t const start : starts_)
        hashes.set(hash(start));
    std::map<std::string, int> found;
    for (std::size_t i = 0; i + pieceSize <= bytes.size(); ++i) {
        std::uint32_t start = 0;
        std::memcpy(&start, &bytes[i], sizeof start);
        if (hashes.test(hash(start)))
            if (auto const piece = pieces_.find(bytes.substr(i, pieceSize)); piece != pieces_.end())
                ++found[piece->second];
    }
    return found;
}

std::map<std::string, int> leftAtTheEnd(std::function<void()> const& body,
                                        std::function<Secrets()> const& secrets, int& status) {
    pid_t const process = ::fork();
    if (process == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 || ::raise(SIGSTOP) != 0)
            ::_exit(126);
        body();
        std::exit(0);
    }
    require(::waitpid(process, &status, 0) == process && WIFSTOPPED(status), "trace");
    require(::ptrace(PTRACE_SETOPTIONS, process, nullptr,
                     PTRACE_O_EXITKILL | PTRACE_O_TRACEEXEC | PTRACE_O_TRACEEXIT) == 0,
            "trace");
    auto memory = std::make_unique<Memory>(process);
    std::map<std::string, int> found;
    for (long signal = 0;;) {
        require(::ptrace(PTRACE_CONT, process, nullptr, signal) == 0, "trace");
        require(::waitpid(process, &status, 0) == process, "waitpid");
        if (!WIFSTOPPED(status))
            return found;
        int const event = status >> 16;
        signal = event == 0 ? WSTOPSIG(status) : 0;
        if (event == PTRACE_EVENT_EXEC)
            memory = std::make_unique<Memory>(process);
        if (event == PTRACE_EVENT_EXIT)
            found = memory->find(secrets());
    }
}

} // namespace test_support

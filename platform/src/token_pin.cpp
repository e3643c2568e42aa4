#include "token_pin.h"

#include "file_descriptor.h"
#include "log.h"
#include "process_locks.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace wincrypt {
namespace {

constexpr std::size_t longestPin = 255;

std::vector<std::uint8_t*>& pages() {
    static auto* const all = new std::vector<std::uint8_t*>;
    return *all;
}

std::string decodedPath(std::string source) {
    for (std::string_view const scheme : {"file://", "file:"})
        if (source.compare(0, scheme.size(), scheme) == 0)
            return source.substr(scheme.size());
    return source;
}

std::optional<std::string> credentialFile() {
    char const* const directory = ::secure_getenv("CREDENTIALS_DIRECTORY");
    if (directory == nullptr || *directory == '\0')
        return std::nullopt;
    std::string const path = std::string(directory) + "/wincrypt-pin";
    return ::access(path.c_str(), F_OK) == 0 ? std::optional(path) : std::nullopt;
}

SecureBytes withoutLineEnd(SecureBytes pin) {
    if (!pin.empty() && pin.back() == '\n')
        pin.pop_back();
    if (!pin.empty() && pin.back() == '\r')
        pin.pop_back();
    return pin;
}

SecureBytes readPinFile(std::string const& path) {
    FileDescriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    SecureBytes pin(longestPin + 2);
    ssize_t const count = file && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode)
                              ? ::read(file.number(), pin.data(), pin.size())
                              : -1;
    if (count < 0) {
        logLine(path, "no PIN can be read from it");
        fail(SCARD_W_CARD_NOT_AUTHENTICATED);
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        logLine(path, "holds a PIN, and others have rights to it");
    pin.resize(static_cast<std::size_t>(count));
    return withoutLineEnd(std::move(pin));
}

} // namespace

// At the end of the process. Threads may still be in calls; they find no PIN.
void wipePins() noexcept {
    std::lock_guard const lock(processLock(ProcessLock::tokens));
    for (std::uint8_t* const page : pages())
        OPENSSL_cleanse(page, longestPin);
}

void PinMemory::lockPage() noexcept {
    ::mlock(page_, longestPin); // where the limit doesn't allow it, the PIN is kept all the same
    ::madvise(page_, longestPin, MADV_DONTDUMP);
    lockedFor_ = ::getpid();
}

void PinMemory::set(ByteView pin) {
    if (page_ == nullptr) {
        if (pin.empty())
            return;
        auto const size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        void* const page = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED)
            throw std::bad_alloc();
        static bool const wipedAtEnd = std::atexit(wipePins) == 0;
        static_cast<void>(wipedAtEnd);
        page_ = static_cast<std::uint8_t*>(page);
        pages().push_back(page_);
    }
    if (lockedFor_ != ::getpid())
        lockPage();
    OPENSSL_cleanse(page_, longestPin);
    size_ = std::min(pin.size(), longestPin);
    if (size_ != 0)
        std::memcpy(page_, pin.data(), size_);
}

bool PinMemory::holds(ByteView pin) const noexcept { return size_ != 0 && equal({page_, size_}, pin); }

SecureBytes PinMemory::copy() const { return {page_, page_ + size_}; }

PinSource PinSource::inUse(std::string const& uriSource) {
    if (!uriSource.empty())
        return {Kind::file, decodedPath(uriSource)};
    char const* const given = ::secure_getenv("WINCRYPT_PIN_SOURCE");
    std::string_view const text = given != nullptr ? given : "";
    constexpr std::string_view file = "file:";
    constexpr std::string_view variable = "env:";
    if (text == "ask")
        return {Kind::person, {}};
    if (text.size() > file.size() && text.substr(0, file.size()) == file)
        return {Kind::file, std::string(text.substr(file.size()))};
    if (text.size() > variable.size() && text.substr(0, variable.size()) == variable)
        return {Kind::variable, std::string(text.substr(variable.size()))};
    if (!text.empty()) {
        logLine("WINCRYPT_PIN_SOURCE", "says neither file:PATH nor env:NAME nor ask");
        fail(ERROR_BAD_ARGUMENTS);
    }
    if (auto credential = credentialFile())
        return {Kind::file, std::move(*credential)};
    return {Kind::person, {}};
}

SecureBytes PinSource::read() const {
    SecureBytes pin;
    if (kind == Kind::file) {
        pin = readPinFile(name);
    } else if (char const* const value = ::secure_getenv(name.c_str()); value != nullptr) {
        ByteView const octets = viewOf(std::string_view(value));
        pin = withoutLineEnd({octets.begin(), octets.end()});
    }
    if (pin.empty() || pin.size() > longestPin) {
        logLine(name, pin.empty() ? "there is no PIN in it" : "is too long for a PIN");
        fail(SCARD_W_CARD_NOT_AUTHENTICATED);
    }
    return pin;
}

} // namespace wincrypt

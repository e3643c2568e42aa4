#include "bytes.h"

#include "failure.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tvkstore {

namespace {

constexpr std::size_t kLargestFile = std::size_t{64} << 20;

std::string hex(std::string_view bytes, char const* digits) {
    std::string out;
    out.reserve(bytes.size() * 2);
    for (char const byte : bytes) {
        auto const value = static_cast<unsigned char>(byte);
        out += digits[value >> 4];
        out += digits[value & 0x0F];
    }
    return out;
}

class InputFile {
public:
    explicit InputFile(std::string const& path) : m_file(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (m_file < 0) {
            throw systemFailure(path, errno);
        }
    }
    ~InputFile() { ::close(m_file); }
    InputFile(InputFile const&) = delete;
    InputFile& operator=(InputFile const&) = delete;
    int number() const { return m_file; }

private:
    int m_file;
};

} // namespace

std::string upperHex(std::string_view bytes) { return hex(bytes, "0123456789ABCDEF"); }

std::string lowerHex(std::string_view bytes) { return hex(bytes, "0123456789abcdef"); }

std::string readFile(std::string const& path) {
    InputFile const file(path);
    std::string content;
    std::array<char, 65536> part{};
    for (;;) {
        ssize_t const count = ::read(file.number(), part.data(), part.size());
        if (count == 0) {
            return content;
        }
        if (count > 0) {
            content.append(part.data(), static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            throw systemFailure(path, errno);
        }
        if (content.size() > kLargestFile) {
            throw Failure(ExitCode::failed, path + ": larger than 64 MiB");
        }
    }
}

} // namespace tvkstore

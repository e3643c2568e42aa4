#include "layer_log.h"

#include "failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace tvkstore {

namespace {

constexpr char kVariable[] = "WINCRYPT_LOG";
constexpr char kToStandardError[] = "stderr";

} // namespace

LayerLog::LayerLog() {
    char const* const wanted = std::getenv(kVariable);
    if (wanted != nullptr && std::string_view(wanted) != kToStandardError) {
        return;
    }
    std::string target = kToStandardError;
    m_file = ::memfd_create("tvkstore-log", MFD_CLOEXEC);
    if (m_file >= 0) {
        std::string const path = "/proc/self/fd/" + std::to_string(m_file);
        if (::access(path.c_str(), W_OK) == 0) {
            target = path;
        } else {
            // Without that file system the lines go straight to standard error, and their number isn't known.
            ::close(m_file);
            m_file = -1;
        }
    }
    if (::setenv(kVariable, target.c_str(), 1) != 0) {
        throw systemFailure("environment", errno);
    }
}

LayerLog::~LayerLog() {
    try {
        relay();
    } catch (std::bad_alloc const&) {
        std::cerr << "tvkstore: error: out of memory\n";
    }
    if (m_file >= 0) {
        ::close(m_file);
    }
}

bool LayerLog::relay() {
    std::string text;
    std::array<char, 4096> part{};
    for (;;) {
        ssize_t const count = m_file < 0 ? 0 : ::pread(m_file, part.data(), part.size(), m_read);
        if (count <= 0) {
            break;
        }
        text.append(part.data(), static_cast<std::size_t>(count));
        m_read += count;
    }
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find('\n', begin), text.size() - 1) + 1;
        std::string const line = text.substr(begin, end - begin);
        if (m_told.insert(line).second) {
            std::cerr << line;
        }
        begin = end;
    }
    std::cerr << std::flush;
    return !text.empty();
}

} // namespace tvkstore

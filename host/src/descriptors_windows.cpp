#include "descriptors.h"

#include "failure.h"
#include "wide_text_windows.h"

#include <windows.h>
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <limits>

namespace tvkstore {

namespace {

// The most that one call of the C library takes.
constexpr std::size_t kMost = std::numeric_limits<int>::max();

HANDLE handleOf(int file) { return reinterpret_cast<HANDLE>(_get_osfhandle(file)); }

// False for everything that isn't a regular file.
bool identify(HANDLE file, BY_HANDLE_FILE_INFORMATION& identity) {
    return file != INVALID_HANDLE_VALUE && GetFileType(file) == FILE_TYPE_DISK &&
           GetFileInformationByHandle(file, &identity) != 0 &&
           (identity.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool isSameFile(int file, HANDLE other) {
    BY_HANDLE_FILE_INFORMATION a{};
    BY_HANDLE_FILE_INFORMATION b{};
    return identify(handleOf(file), a) && identify(other, b) &&
           a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh &&
           a.nFileIndexLow == b.nFileIndexLow;
}

} // namespace

int openForReading(std::string const& path) {
    int const file = _wopen(wideOf(path).c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT);
    if (file < 0) {
        throw systemFailure(path, errno);
    }
    return file;
}

int openStandardInput() {
    // A closed one fails at the first use.
    static_cast<void>(_setmode(kStandardInput, _O_BINARY));
    return kStandardInput;
}

bool closeFile(int file) noexcept { return _close(file) == 0; }

std::size_t readPart(int file, char* bytes, std::size_t size, std::string const& object) {
    int const count = _read(file, bytes, static_cast<unsigned int>(std::min(size, kMost)));
    if (count < 0) {
        throw systemFailure(object, errno);
    }
    return static_cast<std::size_t>(count);
}

void writeAll(int file, std::string_view bytes, std::string const& object) {
    while (!bytes.empty()) {
        int const count =
            _write(file, bytes.data(), static_cast<unsigned int>(std::min(bytes.size(), kMost)));
        if (count < 0) {
            throw systemFailure(object, errno);
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

// The C library takes every device for a terminal.
bool isTerminal(int file) {
    DWORD mode = 0;
    return GetConsoleMode(handleOf(file), &mode) != 0;
}

bool canRewriteLine(int file) {
    DWORD mode = 0;
    return GetConsoleMode(handleOf(file), &mode) != 0 && (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

bool isSameFile(int file, int other) { return isSameFile(file, handleOf(other)); }

bool isSameFile(int file, std::string const& path) {
    DWORD const shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    HANDLE const other =
        CreateFileW(wideOf(path).c_str(), FILE_READ_ATTRIBUTES, shared, nullptr, OPEN_EXISTING, 0, nullptr);
    bool const same = isSameFile(file, other);
    if (other != INVALID_HANDLE_VALUE) {
        CloseHandle(other);
    }
    return same;
}

} // namespace tvkstore

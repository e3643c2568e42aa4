#include "output_file.h"

#include "descriptors.h"
#include "failure.h"
#include "system_failure_windows.h"
#include "wide_text.h"
#include "wide_text_windows.h"

#include <windows.h>
#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <memory>
#include <mutex>
#include <utility>

#include <sddl.h>

namespace tvkstore {

namespace {

// Its owner may do all, nobody else anything, and nothing comes from the folder.
constexpr wchar_t kOwnerAlone[] = L"D:P(A;;FA;;;OW)";

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// The system tells of a break in a thread of its own.
std::mutex s_guard;
std::wstring s_unfinished;

WINBOOL WINAPI removeUnfinished(DWORD) {
    std::lock_guard const lock(s_guard);
    if (!s_unfinished.empty()) {
        DeleteFileW(s_unfinished.c_str());
    }
    // Now the break may end the program as it would have done.
    return FALSE;
}

void watch(std::wstring path) {
    std::lock_guard const lock(s_guard);
    s_unfinished = std::move(path);
}

Failure exists(std::string const& path) {
    return Failure(ExitCode::usage, path + ": exists already", {"--force replaces it"});
}

struct CloseHandleLater {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

// Through a symbolic link the file is replaced to which it leads.
std::string resolve(std::string const& path) {
    HANDLE const opened = CreateFileW(wideOf(path).c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        throw platformFailure(path, GetLastError());
    }
    std::unique_ptr<void, CloseHandleLater> const file(opened);
    BY_HANDLE_FILE_INFORMATION status{};
    if (GetFileType(opened) != FILE_TYPE_DISK || GetFileInformationByHandle(opened, &status) == 0 ||
        (status.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        throw Failure(ExitCode::usage, path + ": not a regular file");
    }
    std::wstring real(32768, L'\0');
    DWORD const length = GetFinalPathNameByHandleW(opened, real.data(), static_cast<DWORD>(real.size()), 0);
    if (length == 0 || length >= real.size()) {
        throw platformFailure(path, length == 0 ? GetLastError() : DWORD{ERROR_FILENAME_EXCED_RANGE});
    }
    return utf8Of(real.c_str());
}

HANDLE createForOwner(std::wstring const& path, std::string const& object) {
    PSECURITY_DESCRIPTOR rights = nullptr;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(kOwnerAlone, SDDL_REVISION_1, &rights,
                                                             nullptr) == 0) {
        throw platformFailure(object, GetLastError());
    }
    SECURITY_ATTRIBUTES attributes{sizeof attributes, rights, FALSE};
    HANDLE const file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                    &attributes, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD const error = GetLastError();
    LocalFree(rights);
    SetLastError(error);
    return file;
}

// Makes a file of a new name in the folder, which is empty or ends in a separator.
HANDLE createTemporary(std::string const& folder, std::string const& object, std::string& path) {
    constexpr int attempts = 100;
    for (int i = 0; i < attempts; ++i) {
        path = folder + ".tvkstore-" + std::to_string(GetCurrentProcessId()) + '-' + std::to_string(i);
        HANDLE const file = createForOwner(wideOf(path), object);
        if (file != INVALID_HANDLE_VALUE) {
            return file;
        }
        if (GetLastError() != ERROR_FILE_EXISTS) {
            break;
        }
    }
    throw platformFailure(object, GetLastError());
}

} // namespace

OutputFile::OutputFile(std::string const& path, bool force) : path_(path), force_(force) {
    if (GetFileAttributesW(wideOf(path).c_str()) != INVALID_FILE_ATTRIBUTES) {
        if (!force) {
            throw exists(path);
        }
        path_ = resolve(path);
    } else if (DWORD const error = GetLastError(); error != ERROR_FILE_NOT_FOUND) {
        throw platformFailure(path, error);
    }
    folder_ = path_.substr(0, path_.find_last_of("\\/:") + 1);
    HANDLE const file = createTemporary(folder_, path, temporary_);
    file_ = _open_osfhandle(reinterpret_cast<intptr_t>(file), _O_BINARY);
    if (file_ < 0) {
        int const error = errno;
        CloseHandle(file);
        DeleteFileW(wideOf(temporary_).c_str());
        throw systemFailure(path, error);
    }
    watch(wideOf(temporary_));
    SetConsoleCtrlHandler(removeUnfinished, TRUE);
}

OutputFile::~OutputFile() {
    SetConsoleCtrlHandler(removeUnfinished, FALSE);
    std::lock_guard const lock(s_guard);
    if (file_ >= 0) {
        closeFile(file_);
    }
    if (!s_unfinished.empty()) {
        DeleteFileW(s_unfinished.c_str());
        s_unfinished.clear();
    }
}

void OutputFile::write(std::string_view bytes) { writeAll(file_, bytes, path_); }

void OutputFile::finish() {
    int const file = std::exchange(file_, -1);
    int failed = _commit(file) == 0 ? 0 : errno;
    if (!closeFile(file) && failed == 0) {
        failed = errno;
    }
    if (failed != 0) {
        throw systemFailure(path_, failed);
    }
    put();
    watch({});
    temporary_.clear();
}

// Between the check and now another program may have made the file.
void OutputFile::put() {
    DWORD const flags = MOVEFILE_WRITE_THROUGH | (force_ ? MOVEFILE_REPLACE_EXISTING : 0U);
    if (MoveFileExW(wideOf(temporary_).c_str(), wideOf(path_).c_str(), flags) != 0) {
        return;
    }
    DWORD const error = GetLastError();
    if (!force_ && (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS)) {
        throw exists(path_);
    }
    throw platformFailure(path_, error);
}

} // namespace tvkstore

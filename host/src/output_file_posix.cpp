#include "output_file.h"

#include "descriptors.h"
#include "failure.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tvkstore {

namespace {

// What a signal handler may look at: no memory that the program could be changing.
std::array<char, PATH_MAX> s_unfinished{};
volatile std::sig_atomic_t s_isUnfinished = 0;

extern "C" void removeUnfinished(int signal) {
    if (s_isUnfinished != 0) {
        ::unlink(s_unfinished.data());
    }
    // Now the signal may end the program as it would have done. SA_RESETHAND would let a second one end it
    // before.
    ::signal(signal, SIG_DFL);
    ::raise(signal);
}

void watch(std::string const& path) {
    if (path.size() >= s_unfinished.size()) {
        return;
    }
    path.copy(s_unfinished.data(), path.size());
    s_unfinished[path.size()] = '\0';
    s_isUnfinished = 1;
    struct sigaction action {};
    action.sa_handler = removeUnfinished;
    for (int const signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction before {};
        // A signal that the caller has ignored (nohup) stays ignored.
        if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            ::sigaction(signal, &action, nullptr);
        }
    }
}

Failure exists(std::string const& path) {
    return Failure(ExitCode::usage, path + ": exists already", {"--force replaces it"});
}

// Through a symbolic link the file is replaced to which it leads.
std::string resolve(std::string const& path) {
    char* const real = ::realpath(path.c_str(), nullptr);
    if (real == nullptr) {
        throw systemFailure(path, errno);
    }
    std::string result(real);
    std::free(real);
    return result;
}

} // namespace

OutputFile::OutputFile(std::string const& path, bool force) : path_(path), force_(force) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) {
        if (!force) {
            throw exists(path);
        }
        path_ = resolve(path);
        if (::stat(path_.c_str(), &status) != 0) {
            throw systemFailure(path, errno);
        }
        if (!S_ISREG(status.st_mode)) {
            throw Failure(ExitCode::usage, path + ": not a regular file");
        }
    } else if (errno != ENOENT) {
        throw systemFailure(path, errno);
    }
    std::size_t const slash = path_.rfind('/');
    folder_ = slash == std::string::npos ? "." : path_.substr(0, slash + 1);
    temporary_ = folder_ + "/.tvkstore-XXXXXX";
    file_ = ::mkostemp(temporary_.data(), O_CLOEXEC);
    if (file_ < 0) {
        throw systemFailure(path, errno);
    }
    watch(temporary_);
}

OutputFile::~OutputFile() {
    s_isUnfinished = 0;
    if (file_ >= 0) {
        ::close(file_);
    }
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
    }
}

void OutputFile::write(std::string_view bytes) { writeAll(file_, bytes, path_); }

void OutputFile::finish() {
    int const file = std::exchange(file_, -1);
    int failed = ::fsync(file) == 0 ? 0 : errno;
    if (::close(file) != 0 && failed == 0) {
        failed = errno;
    }
    if (failed != 0) {
        throw systemFailure(path_, failed);
    }
    put();
    s_isUnfinished = 0;
    temporary_.clear();
    int const folder = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // Some file systems can't sync a folder, and one may be written without being readable: the file itself
    // is safe.
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
}

// Between the check and now another program may have made the file.
void OutputFile::put() {
    if (!force_) {
        if (::renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0) {
            return;
        }
        if (errno == EEXIST) {
            throw exists(path_);
        }
        if (errno != EINVAL && errno != ENOSYS) {
            throw systemFailure(path_, errno);
        }
        // A file system without that call.
        if (::access(path_.c_str(), F_OK) == 0) {
            throw exists(path_);
        }
    }
    if (::rename(temporary_.c_str(), path_.c_str()) != 0) {
        throw systemFailure(path_, errno);
    }
}

} // namespace tvkstore

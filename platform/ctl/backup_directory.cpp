#include "backup_directory.h"

#include "database_files.h"
#include "file_descriptor.h"
#include "run_failure.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

namespace wincryptctl {

using wincrypt::FileDescriptor;

namespace {

RunFailure exists(std::string const& path) {
    return RunFailure(ExitCode::usage, path + ": exists already", {"a backup goes into a new directory"});
}

void sync(std::string const& path) {
    FileDescriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file || ::fsync(file.number()) != 0)
        throw systemFailure(path, errno);
}

// Without replacing anything; file systems that can't do that leave a moment between question and change.
bool rename(std::string const& from, std::string const& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    struct stat status {};
    if (::lstat(to.c_str(), &status) == 0) {
        errno = EEXIST;
        return false;
    }
    return ::rename(from.c_str(), to.c_str()) == 0;
}

// Those that the caller has ignored, as nohup does, end nothing.
sigset_t endingSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (int const signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&set, signal);
    }
    return set;
}

} // namespace

BackupDirectory::BackupDirectory(std::string path) : path_(std::move(path)) {
    while (path_.size() > 1 && path_.back() == '/')
        path_.pop_back();
    struct stat status {};
    if (::lstat(path_.c_str(), &status) == 0)
        throw exists(path_);
    if (errno != ENOENT)
        throw systemFailure(path_, errno);
    temporary_ = path_ + ".XXXXXX";
    if (::mkdtemp(temporary_.data()) == nullptr)
        throw systemFailure(path_, errno);
    // The caller's umask may have taken more than it should.
    if (::chmod(temporary_.c_str(), 0700) != 0) {
        int const number = errno;
        ::rmdir(temporary_.c_str());
        throw systemFailure(path_, number);
    }
}

BackupDirectory::~BackupDirectory() {
    if (isKept_)
        return;
    std::error_code error;
    std::filesystem::remove_all(temporary_, error);
    if (error)
        std::cerr << "wincryptctl: " << temporary_ << " is left behind: " << error.message() << '\n';
}

std::string BackupDirectory::addFile(std::string const& name) {
    std::string path = temporary_ + '/' + name;
    FileDescriptor const file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file || ::fchmod(file.number(), 0600) != 0)
        throw systemFailure(path, errno);
    return path;
}

void BackupDirectory::keep() {
    for (auto const& file : std::filesystem::directory_iterator(temporary_))
        sync(file.path().string());
    sync(temporary_);
    if (!rename(temporary_, path_)) {
        if (errno == EEXIST || errno == ENOTEMPTY)
            throw exists(path_);
        throw systemFailure(path_, errno);
    }
    isKept_ = true;
    sync(wincrypt::directoryOf(path_));
}

HeldSignals::HeldSignals() {
    sigset_t const set = endingSignals();
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
}

HeldSignals::~HeldSignals() {
    sigset_t const set = endingSignals();
    ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

} // namespace wincryptctl

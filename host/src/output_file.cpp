#include "output_file.h"

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

OutputFile::OutputFile(std::string const& path, bool force) : m_path(path), m_force(force) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) {
        if (!force) {
            throw exists(path);
        }
        m_path = resolve(path);
        if (::stat(m_path.c_str(), &status) != 0) {
            throw systemFailure(path, errno);
        }
        if (!S_ISREG(status.st_mode)) {
            throw Failure(ExitCode::usage, path + ": not a regular file");
        }
    } else if (errno != ENOENT) {
        throw systemFailure(path, errno);
    }
    std::size_t const slash = m_path.rfind('/');
    m_folder = slash == std::string::npos ? "." : m_path.substr(0, slash + 1);
    m_temporary = m_folder + "/.tvkstore-XXXXXX";
    m_file = ::mkostemp(m_temporary.data(), O_CLOEXEC);
    if (m_file < 0) {
        throw systemFailure(path, errno);
    }
    watch(m_temporary);
}

OutputFile::~OutputFile() {
    s_isUnfinished = 0;
    if (m_file >= 0) {
        ::close(m_file);
    }
    if (!m_temporary.empty()) {
        ::unlink(m_temporary.c_str());
    }
}

void OutputFile::write(std::string_view bytes) { writeAll(m_file, bytes, m_path); }

void OutputFile::finish() {
    int const file = std::exchange(m_file, -1);
    int failed = ::fsync(file) == 0 ? 0 : errno;
    if (::close(file) != 0 && failed == 0) {
        failed = errno;
    }
    if (failed != 0) {
        throw systemFailure(m_path, failed);
    }
    put();
    s_isUnfinished = 0;
    m_temporary.clear();
    int const folder = ::open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // Some file systems can't sync a folder, and one may be written without being readable: the file itself
    // is safe.
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
}

// Between the check and now another program may have made the file.
void OutputFile::put() {
    if (!m_force) {
        if (::renameat2(AT_FDCWD, m_temporary.c_str(), AT_FDCWD, m_path.c_str(), RENAME_NOREPLACE) == 0) {
            return;
        }
        if (errno == EEXIST) {
            throw exists(m_path);
        }
        if (errno != EINVAL && errno != ENOSYS) {
            throw systemFailure(m_path, errno);
        }
        // A file system without that call.
        if (::access(m_path.c_str(), F_OK) == 0) {
            throw exists(m_path);
        }
    }
    if (::rename(m_temporary.c_str(), m_path.c_str()) != 0) {
        throw systemFailure(m_path, errno);
    }
}

} // namespace tvkstore

#include "new_file.h"

#include "database_files.h"
#include "file_descriptor.h"
#include "log.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace wincrypt {
namespace {

void writeWhole(FileDescriptor const& file, std::string const& path, ByteView content) {
    if (::fchmod(file.number(), 0600) != 0)
        failErrno(path, "its mode can't be set");
    while (!content.empty()) {
        ssize_t const count = ::write(file.number(), content.data(), content.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            failErrno(path, "can't be written");
        content = content.subspan(static_cast<std::size_t>(count));
    }
    if (::fsync(file.number()) != 0)
        failErrno(path, "can't be made durable");
}

// False where that can't be done without a name.
bool createUnnamed(std::string const& path, ByteView content) {
    FileDescriptor const file(::open(directoryOf(path).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
    if (!file) {
        if (errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT || errno == EINVAL)
            return false;
        failErrno(path, "can't be made");
    }
    writeWhole(file, path, content);
    std::string const open = "/proc/self/fd/" + std::to_string(file.number());
    if (::linkat(AT_FDCWD, open.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0 || errno == EEXIST)
        return true;
    if (errno == ENOENT || errno == EOPNOTSUPP || errno == EPERM) // without /proc, or an odd file system
        return false;
    failErrno(path, "can't be made");
}

class TemporaryFile {
public:
    explicit TemporaryFile(std::string const& beside)
        : path_(beside + ".XXXXXX"), file_(::mkostemp(path_.data(), O_CLOEXEC)) {
        if (!file_)
            failErrno(path_, "can't be made");
    }
    ~TemporaryFile() {
        if (::unlink(path_.c_str()) != 0)
            logLine(path_, "is left behind");
    }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;

    std::string const& path() const noexcept { return path_; }
    FileDescriptor const& file() const noexcept { return file_; }

private:
    std::string path_;
    FileDescriptor file_;
};

void createNamed(std::string const& path, ByteView content) {
    TemporaryFile const temporary(path);
    writeWhole(temporary.file(), temporary.path(), content);
    if (::link(temporary.path().c_str(), path.c_str()) != 0 && errno != EEXIST)
        failErrno(path, "can't be made");
}

} // namespace

void createFile(std::string const& path, ByteView content) {
    if (!createUnnamed(path, content))
        createNamed(path, content);
    syncDirectory(directoryOf(path));
}

} // namespace wincrypt

#include "file_checks.h"

#include "boundary.h"
#include "database_files.h"
#include "run_failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace wincryptctl {

using namespace wincrypt;

namespace {

bool isLetterOrDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// "user.db.k3Jd0Q", also with what SQLite puts behind a database's name.
bool isTemporaryName(std::string_view name, std::string_view of) {
    constexpr std::size_t letters = 6;
    if (!name.starts_with(of) || !name.substr(of.size()).starts_with('.'))
        return false;
    name.remove_prefix(of.size() + 1);
    for (std::string_view const suffix : {"-journal", "-wal", "-shm"})
        if (name.ends_with(suffix)) {
            name.remove_suffix(suffix.size());
            break;
        }
    return name.size() == letters && std::all_of(name.begin(), name.end(), isLetterOrDigit);
}

std::string nameOf(std::string const& path) { return path.substr(path.find_last_of('/') + 1); }

} // namespace

std::string keyFileOf(Database const& database) { return database.directory() + "/sealing.key"; }

bool checkFile(Scope scope, std::string const& path, unsigned forbidden, Links links, Findings& findings) {
    struct stat status {};
    if ((links == Links::follow ? ::stat(path.c_str(), &status) : ::lstat(path.c_str(), &status)) != 0) {
        if (errno != ENOENT && errno != ENOTDIR)
            throw systemFailure(path, errno);
        return false;
    }
    auto const refused = [&](char const* why) { findings.push_back({Finding::Kind::refused, path, why}); };
    if (!S_ISREG(status.st_mode))
        refused("isn't a regular file");
    else if (status.st_uid != ::geteuid() && !(scope == Scope::machine && status.st_uid == 0))
        refused("belongs to another user");
    else if ((status.st_mode & forbidden) != 0)
        refused("others have rights to it");
    return true;
}

std::string credentialFile() {
    char const* const directory = ::secure_getenv("CREDENTIALS_DIRECTORY");
    if (directory == nullptr || *directory == '\0')
        return "";
    std::string path = std::string(directory) + "/wincrypt-key";
    return ::access(path.c_str(), F_OK) == 0 ? path : "";
}

void checkLogs(Database const& database, Findings& findings) {
    for (auto const& [suffix, text] :
         {std::pair("-wal",
                    "holds changes that the database's file alone doesn't; the last program that ends "
                    "brings them in"),
          std::pair("-journal", "belongs to a change that is under way or was cut off")}) {
        struct stat status {};
        std::string const path = database.path() + suffix;
        if (::stat(path.c_str(), &status) == 0 && status.st_size != 0)
            findings.push_back({Finding::Kind::note, path, text});
    }
}

std::vector<Leftover> findLeftovers(Database const& database) {
    std::vector<Leftover> found;
    std::error_code error;
    auto const now = std::chrono::system_clock::now();
    std::filesystem::directory_iterator each(database.directory(), error);
    for (; !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
        std::string const name = each->path().filename().string();
        if (!isTemporaryName(name, nameOf(database.path())) &&
            !isTemporaryName(name, nameOf(keyFileOf(database))))
            continue;
        struct stat status {};
        if (::lstat(each->path().c_str(), &status) != 0 || !S_ISREG(status.st_mode))
            continue;
        auto const changed = std::chrono::system_clock::from_time_t(status.st_mtim.tv_sec);
        found.push_back(
            {each->path().string(), std::chrono::duration_cast<std::chrono::minutes>(now - changed)});
    }
    if (error && error != std::errc::no_such_file_or_directory)
        throw systemFailure(database.directory(), error.value());
    std::sort(found.begin(), found.end(), [](auto const& a, auto const& b) { return a.path < b.path; });
    return found;
}

} // namespace wincryptctl

#include "support/scratch_profile.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace test_support {

namespace {

// A directory that a test closed has to be opened before what is in it can be listed and removed.
void openDirectories(fs::path const& directory) {
    fs::permissions(directory, fs::perms::owner_all, fs::perm_options::add);
    for (fs::directory_entry const& entry : fs::directory_iterator(directory)) {
        if (entry.is_directory() && !entry.is_symlink())
            openDirectories(entry.path());
    }
}

void removeTree(fs::path const& what) {
    if (fs::is_directory(fs::symlink_status(what)))
        openDirectories(what);
    fs::remove_all(what);
}

fs::path makeDirectory(fs::path const& path) {
    fs::create_directory(path);
    fs::permissions(path, fs::perms::owner_all);
    return path;
}

} // namespace

ScratchDirectory::ScratchDirectory() {
    std::string name = (fs::canonical(fs::temp_directory_path()) / "tvkbridge-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), name);
    struct stat made {};
    if (::lstat(name.c_str(), &made) != 0)
        throw std::system_error(errno, std::generic_category(), name);
    path_ = name;
    device_ = made.st_dev;
    inode_ = made.st_ino;
}

ScratchDirectory::~ScratchDirectory() {
    if (!isStillOurs()) {
        ADD_FAILURE() << path_ << " is no longer the directory that was made";
        return;
    }
    try {
        removeTree(path_);
    } catch (std::exception const& failure) {
        ADD_FAILURE() << "scratch directory: " << failure.what();
    }
}

bool ScratchDirectory::isStillOurs() const {
    struct stat now {};
    return ::lstat(path_.c_str(), &now) == 0 && S_ISDIR(now.st_mode) && now.st_dev == device_ &&
           now.st_ino == inode_;
}

void ScratchDirectory::remove(fs::path const& what) const {
    fs::path const name = what.filename();
    fs::path const place = fs::weakly_canonical(fs::absolute(what).parent_path()) / name;
    fs::path const within = place.lexically_relative(path_);
    bool const isUnder = !within.empty() && within != "." && *within.begin() != "..";
    if (!isUnder || name.empty() || name == "." || name == "..")
        throw std::invalid_argument(what.string() + " does not lie under " + path_.string());
    removeTree(place);
}

ScratchProfile::ScratchProfile()
    : userHome_(makeDirectory(directory_.path() / "user")),
      machineHome_(makeDirectory(directory_.path() / "machine")),
      userVariable_("WINCRYPT_USER_HOME", userHome_.string()),
      machineVariable_("WINCRYPT_MACHINE_HOME", machineHome_.string()),
      noCredentials_("CREDENTIALS_DIRECTORY", std::nullopt),
      noPinSource_("WINCRYPT_PIN_SOURCE", std::nullopt) {}

} // namespace test_support

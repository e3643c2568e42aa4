#include "support/scratch_profile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
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
    path_ = name;
}

ScratchDirectory::~ScratchDirectory() {
    try {
        openDirectories(path_);
        fs::remove_all(path_);
    } catch (std::exception const& failure) {
        ADD_FAILURE() << "scratch directory: " << failure.what();
    }
}

ScratchProfile::ScratchProfile()
    : userHome_(makeDirectory(directory_.path() / "user")),
      machineHome_(makeDirectory(directory_.path() / "machine")),
      userVariable_("WINCRYPT_USER_HOME", userHome_.string()),
      machineVariable_("WINCRYPT_MACHINE_HOME", machineHome_.string()),
      noCredentials_("CREDENTIALS_DIRECTORY", std::nullopt),
      noPinSource_("WINCRYPT_PIN_SOURCE", std::nullopt), noTokens_("WINCRYPT_TOKEN_DISCOVERY_TIMEOUT", "0") {}

} // namespace test_support

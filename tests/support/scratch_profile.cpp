#include "support/scratch_profile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
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

std::string readWhole(fs::path const& file) {
    std::ifstream in(file, std::ios::binary);
    EXPECT_TRUE(in) << file;
    return fs::is_directory(file) ? "" : std::string(std::istreambuf_iterator<char>(in), {});
}

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
    : userHome_(makeDirectory(file("user"))), machineHome_(makeDirectory(file("machine"))) {}

} // namespace test_support

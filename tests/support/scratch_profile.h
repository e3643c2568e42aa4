#pragma once

#include "support/environment_variable.h"

#include <filesystem>
#include <optional>
#include <string>

namespace test_support {

// The directory for temporary files, while the object lives: in memory where the machine has a place for it.
struct InMemory {
    explicit InMemory(bool isWanted = true) {
        if (isWanted && std::filesystem::is_directory("/dev/shm"))
            variable.emplace("TMPDIR", "/dev/shm");
    }
    std::optional<EnvironmentVariable> variable;
};

// A directory of its own under the system's directory for temporary files, mode 0700, removed with all it
// holds at the end, whatever modes a test gave to what lies in it. A removal that fails is a test failure.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(ScratchDirectory const&) = delete;
    ScratchDirectory& operator=(ScratchDirectory const&) = delete;

    std::filesystem::path const& path() const { return path_; }

private:
    std::filesystem::path path_;
};

// A user and a machine that have stored nothing: both homes of the layer lie in a scratch directory, and what
// could bring keys or PINs from outside is out of the environment. The machine's tokens are left alone.
class ScratchProfile {
public:
    ScratchProfile();

    ScratchDirectory const& directory() const { return directory_; }
    std::filesystem::path const& userHome() const { return userHome_; }
    std::filesystem::path const& machineHome() const { return machineHome_; }
    std::filesystem::path file(std::string const& name) const { return directory_.path() / name; }

private:
    ScratchDirectory directory_;
    std::filesystem::path userHome_;
    std::filesystem::path machineHome_;
    EnvironmentVariable userVariable_;
    EnvironmentVariable machineVariable_;
    EnvironmentVariable noCredentials_;
    EnvironmentVariable noPinSource_;
    EnvironmentVariable noTokens_;
};

} // namespace test_support

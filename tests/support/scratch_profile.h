#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace test_support {

// Sets a variable of the process's environment for the object's life, or removes it when there is no value,
// and then puts back what was there. The environment is not made for threads: no other thread may run
// meanwhile.
class EnvironmentVariable {
public:
    EnvironmentVariable(std::string const& name, std::optional<std::string> const& value) : name_(name) {
        if (char const* const before = std::getenv(name_.c_str()))
            before_ = before;
        put(value);
    }
    ~EnvironmentVariable() { put(before_); }
    EnvironmentVariable(EnvironmentVariable const&) = delete;
    EnvironmentVariable& operator=(EnvironmentVariable const&) = delete;

private:
    void put(std::optional<std::string> const& value) const {
        if ((value ? ::setenv(name_.c_str(), value->c_str(), 1) : ::unsetenv(name_.c_str())) != 0)
            std::abort();
    }

    std::string name_;
    std::optional<std::string> before_;
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

// The content of a file; of a directory, nothing.
std::string readWhole(std::filesystem::path const& file);

// The directory for temporary files, while the object lives: in memory where the machine has a place for it,
// as thousands of durable writes aren't what every test is about.
struct InMemory {
    explicit InMemory(bool isWanted = true) {
        if (isWanted && std::filesystem::is_directory("/dev/shm"))
            variable.emplace("TMPDIR", "/dev/shm");
    }
    std::optional<EnvironmentVariable> variable;
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
    EnvironmentVariable const variables_[5] = {{"WINCRYPT_USER_HOME", userHome_.string()},
                                               {"WINCRYPT_MACHINE_HOME", machineHome_.string()},
                                               {"CREDENTIALS_DIRECTORY", std::nullopt},
                                               {"WINCRYPT_PIN_SOURCE", std::nullopt},
                                               {"WINCRYPT_TOKEN_DISCOVERY_TIMEOUT", "0"}};
};

} // namespace test_support

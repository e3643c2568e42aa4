#include "support/work_directory.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace bench {

namespace {

class Directory {
public:
    Directory() {
        if (char const* const given = std::getenv("TVK_BENCH_DIRECTORY")) {
            path_ = fs::absolute(given);
            fs::create_directories(path_);
            return;
        }
        std::string name = (fs::current_path() / "bench-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        path_ = name;
        isOurs_ = true;
    }

    ~Directory() {
        std::error_code ignored; // what is left over lies in plain sight
        if (isOurs_) {
            fs::remove_all(path_, ignored);
        }
    }

    Directory(Directory const&) = delete;
    Directory& operator=(Directory const&) = delete;

    fs::path const& path() const { return path_; }

private:
    fs::path path_;
    bool isOurs_ = false;
};

void setVariable(char const* name, fs::path const& value) {
    if (::setenv(name, value.c_str(), 1) != 0) {
        throw std::system_error(errno, std::generic_category(), name);
    }
}

fs::path emptyDirectory(char const* name) {
    fs::path const path = workDirectory() / name;
    fs::create_directories(path);
    fs::permissions(path, fs::perms::owner_all);
    return path;
}

} // namespace

fs::path const& workDirectory() {
    static Directory const directory;
    return directory.path();
}

fs::path emptyHome() { return emptyDirectory("empty"); }

void enterHome(fs::path const& home) {
    setVariable("WINCRYPT_USER_HOME", home);
    setVariable("WINCRYPT_MACHINE_HOME", emptyDirectory("machine"));
    setVariable("WINCRYPT_TOKEN_DISCOVERY_TIMEOUT", "0"); // no other program's tokens
    ::unsetenv("CREDENTIALS_DIRECTORY");
    ::unsetenv("WINCRYPT_PIN_SOURCE");
    ::unsetenv("WINCRYPT_LOG");
}

} // namespace bench

#include "machine.h"

#include <openssl/crypto.h>
#include <sqlite3.h>

#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace report {

namespace {

// The value of the first line that begins with the name.
std::string firstValue(char const* file, std::string const& name, char separator) {
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with(name)) {
            std::size_t const at = line.find(separator);
            std::size_t const begin = at == std::string::npos ? at : line.find_first_not_of(" \"", at + 1);
            if (begin != std::string::npos) {
                return line.substr(begin, line.find_last_not_of(" \"") + 1 - begin);
            }
        }
    }
    return "unknown";
}

// The type of the mount that the path lies under most closely.
std::string fileSystemOf(fs::path const& path) {
    std::string const wanted = fs::weakly_canonical(path).string() + '/';
    std::ifstream in("/proc/self/mounts");
    std::string type = "unknown file system";
    std::size_t length = 0;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string device;
        std::string point;
        std::string name;
        words >> device >> point >> name;
        std::string const prefix = point.ends_with('/') ? point : point + '/';
        if (wanted.starts_with(prefix) && prefix.size() >= length) {
            length = prefix.size();
            type = name;
        }
    }
    return type;
}

std::string today() {
    std::time_t const now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts);
    return text.data();
}

} // namespace

std::string machineText(fs::path const& workDirectory, std::set<std::string> const& versions) {
    utsname kernel{};
    ::uname(&kernel);
    std::array<double, 1> load{};
    ::getloadavg(load.data(), static_cast<int>(load.size()));
    std::ostringstream text;
    text.precision(1);
    text << std::fixed << "Measured on " << today() << ": " << firstValue("/proc/cpuinfo", "model name", ':')
         << ", " << ::sysconf(_SC_NPROCESSORS_ONLN) << " cores, load " << load[0]
         << " at the end; databases on " << fileSystemOf(workDirectory) << "; "
         << firstValue("/etc/os-release", "PRETTY_NAME", '=') << ", Linux " << kernel.release << ", GCC "
         << __VERSION__ << ", " << OpenSSL_version(OPENSSL_VERSION) << ", SQLite " << sqlite3_libversion();
    for (std::string const& version : versions) {
        text << ", " << version;
    }
    text << '.';
    return text.str();
}

} // namespace report

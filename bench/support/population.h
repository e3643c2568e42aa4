#pragma once

#include <filesystem>
#include <string>

namespace bench {

// A home of the layer with `count` certificates of the series in "MY", numbers 1 to `count` - 1 and then its
// landmark; every second has a friendly name. Made when it is missing.
std::filesystem::path certificateHome(unsigned count);

// A home with `count` key containers, which all hold the key of keyFile(), exportable. The one in the middle
// has a certificate in "MY". Made when it is missing.
std::filesystem::path keyHome(unsigned count);

// The file of a home's database.
inline std::filesystem::path databaseOf(std::filesystem::path const& home) { return home / "user.db"; }

// Calls the kernel to write back what it holds of the files in the home, and then to let go of it, so that
// the next opening reads the disk. False where the file system keeps it all the same.
bool evictFromMemory(std::filesystem::path const& home);

// A copy of a home, removed at the end.
class HomeCopy {
public:
    HomeCopy(std::filesystem::path const& original, std::string const& name);
    ~HomeCopy();
    HomeCopy(HomeCopy const&) = delete;
    HomeCopy& operator=(HomeCopy const&) = delete;

    std::filesystem::path const& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace bench

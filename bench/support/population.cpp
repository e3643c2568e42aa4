#include "support/population.h"

#include "support/child_process.h"
#include "support/libcrypto.h"
#include "support/work_directory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace bench {

namespace {

class Descriptor {
public:
    Descriptor(fs::path const& file, int flags) : number_(::open(file.c_str(), flags | O_CLOEXEC)) {
        if (number_ < 0) {
            throw std::system_error(errno, std::generic_category(), file.string());
        }
    }
    ~Descriptor() { ::close(number_); }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    int number() const { return number_; }

private:
    int number_;
};

// Files that need not become durable at each step: in memory where there is room.
class QuickDirectory {
public:
    QuickDirectory() {
        fs::path const memory = "/dev/shm";
        constexpr std::uintmax_t needed = std::uintmax_t{1} << 30;
        std::error_code error;
        bool const hasRoom = fs::space(memory, error).available > needed && !error;
        std::string name = ((hasRoom ? memory : workDirectory()) / "tvkbridge-bench-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        path_ = name;
    }
    ~QuickDirectory() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    QuickDirectory(QuickDirectory const&) = delete;
    QuickDirectory& operator=(QuickDirectory const&) = delete;

    fs::path const& path() const { return path_; }

private:
    fs::path path_;
};

void copyHome(fs::path const& from, fs::path const& to) {
    fs::remove_all(to);
    fs::create_directory(to);
    fs::permissions(to, fs::perms::owner_all);
    for (fs::directory_entry const& entry : fs::directory_iterator(from)) {
        std::string const name = entry.path().filename().string();
        if (name.ends_with("-shm")) {
            continue;
        }
        if (name.ends_with("-wal") && entry.file_size() != 0) {
            throw std::runtime_error(entry.path().string() + ": a database in use can't be copied");
        }
        if (!name.ends_with("-wal")) {
            fs::copy_file(entry.path(), to / name);
            Descriptor const file(to / name, O_RDONLY);
            ::fsync(file.number());
        }
    }
}

fs::path populated(char const* kind, unsigned count) {
    fs::path const home = workDirectory() / (std::string(kind) + '-' + std::to_string(count));
    if (fs::exists(home)) {
        return home;
    }
    QuickDirectory const quick;
    ChildProcess process(
        {siblingProgram("bench_populate"), quick.path(), kind, std::to_string(count), keyFile()});
    process.wait();
    fs::path const part = home.string() + ".part";
    copyHome(quick.path(), part);
    fs::rename(part, home);
    return home;
}

bool isInMemory(Descriptor const& file, std::size_t size) {
    void* const mapping = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, file.number(), 0);
    if (mapping == MAP_FAILED) {
        return true;
    }
    auto const page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    std::vector<unsigned char> pages((size + page - 1) / page);
    bool found = ::mincore(mapping, size, pages.data()) != 0;
    for (unsigned char const state : pages) {
        found = found || (state & 1) != 0;
    }
    ::munmap(mapping, size);
    return found;
}

} // namespace

fs::path certificateHome(unsigned count) { return populated("certificates", count); }

fs::path keyHome(unsigned count) { return populated("containers", count); }

bool evictFromMemory(fs::path const& home) {
    bool evicted = true;
    for (fs::directory_entry const& entry : fs::directory_iterator(home)) {
        if (entry.file_size() == 0) {
            continue;
        }
        Descriptor const file(entry.path(), O_RDONLY);
        ::fsync(file.number());
        ::posix_fadvise(file.number(), 0, 0, POSIX_FADV_DONTNEED);
        evicted = evicted && !isInMemory(file, entry.file_size());
    }
    return evicted;
}

HomeCopy::HomeCopy(fs::path const& original, std::string const& name) : path_(workDirectory() / name) {
    copyHome(original, path_);
}

HomeCopy::~HomeCopy() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace bench

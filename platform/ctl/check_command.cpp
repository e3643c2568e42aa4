#include "boundary.h"
#include "commands.h"
#include "database_files.h"
#include "file_checks.h"
#include "key_opening.h"
#include "run_failure.h"
#include "schema.h"

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace wincryptctl {

using namespace wincrypt;

namespace {

constexpr std::chrono::minutes ageOfRubbish{60};
constexpr std::size_t keyFileSize = 32;

struct Counts {
    std::size_t certificates = 0;
    std::size_t containers = 0;
    std::size_t keys = 0;
};

// What tells that a file was changed or replaced.
struct FileVersion {
    explicit FileVersion(std::string const& path) { exists = ::stat(path.c_str(), &status) == 0; }
    bool operator==(FileVersion const& other) const {
        return exists == other.exists &&
               (!exists || (status.st_ino == other.status.st_ino && status.st_size == other.status.st_size &&
                            status.st_mtim.tv_sec == other.status.st_mtim.tv_sec &&
                            status.st_mtim.tv_nsec == other.status.st_mtim.tv_nsec));
    }

    struct stat status {};
    bool exists;
};

bool hasWriteAheadLog(std::string const& path) {
    constexpr off_t formatPlace = 18; // file format, section 1.3.3: the write version
    unsigned char version = 0;
    int const file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    bool const read = file >= 0 && ::pread(file, &version, 1, formatPlace) == 1;
    if (file >= 0)
        ::close(file);
    return read && version == 2;
}

class Check {
public:
    explicit Check(Scope scope) : database_(Database::of(scope)) {}

    void files() {
        hasDatabase_ =
            checkFile(database_->scope(), database_->path(), S_IWGRP | S_IWOTH, Links::follow, findings);
        if (!hasDatabase_)
            add(Finding::Kind::note, database_->path(), "there is none");
        if (DWORD const error = outcome([&] { refuseLogAlone(database_->path()); }); error != ERROR_SUCCESS)
            add(Finding::Kind::damaged, database_->path(), "is missing, and its log holds changes");
        checkLogs(*database_, findings);
        isRefused_ = exitCodeOf(findings) == ExitCode::refused;
        std::string const keyFile = keyFileOf(*database_);
        hasKeyFile_ = checkFile(database_->scope(), keyFile, S_IRWXG | S_IRWXO, Links::refuse, findings);
        if (!hasDatabase_ && !hasKeyFile_)
            return;
        if (DWORD const error = outcome([&] { requireTrustedDirectory(database_->directory()); });
            error == ERROR_ACCESS_DENIED) {
            add(Finding::Kind::refused, database_->directory(), "isn't this user's, or others may write it");
            isRefused_ = true;
        }
        struct stat status {};
        if (hasKeyFile_ && ::lstat(keyFile.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
            static_cast<std::size_t>(status.st_size) != keyFileSize)
            add(Finding::Kind::damaged, keyFile, "isn't a sealing key, which has 32 bytes");
    }

    void database() {
        if (!hasDatabase_ || isRefused_)
            return;
        // Looking at a file that nobody has open, without a lock, goes wrong when somebody opens it
        // meanwhile.
        constexpr int tries = 5;
        for (int i = 1;; ++i) {
            FileVersion const before(database_->path());
            Findings found;
            Counts counted;
            bool isWatched = false;
            try {
                isWatched = look(found, counted);
            } catch (Failure const& failure) {
                tellFailure(found, failure.code());
            }
            if (isWatched || before == FileVersion(database_->path()) || i == tries) {
                counts = counted;
                findings.insert(findings.end(), found.begin(), found.end());
                return;
            }
        }
    }

    void leftovers(bool clean, Json& removed) {
        for (Leftover const& leftover : findLeftovers(*database_)) {
            if (!clean || leftover.age < ageOfRubbish) {
                add(Finding::Kind::note, leftover.path,
                    "temporary, left behind or in use, " + std::to_string(leftover.age.count()) +
                        " minutes old");
            } else if (::unlink(leftover.path.c_str()) == 0) {
                removed.push_back(leftover.path);
            } else if (errno != ENOENT) {
                throw systemFailure(leftover.path, errno);
            }
        }
    }

    std::string const& path() const { return database_->path(); }

    Findings findings;
    Counts counts;

private:
    void add(Finding::Kind kind, std::string const& object, std::string const& text) {
        findings.push_back({kind, object, text});
    }

    void tellFailure(Findings& found, DWORD error) const {
        RunFailure const failure = layerFailure("can't be examined", error);
        Finding::Kind const kind = failure.exitCode() == ExitCode::damaged   ? Finding::Kind::damaged
                                   : failure.exitCode() == ExitCode::refused ? Finding::Kind::refused
                                                                             : Finding::Kind::unreadable;
        found.push_back({kind, database_->path(), failure.what()});
    }

    // True when changes by others are kept from being seen half-way.
    bool look(Findings& found, Counts& counted) {
        auto const mode = modeOfLooking(found);
        if (!mode)
            return true;
        if (FileVersion const version(database_->path()); version.exists && version.status.st_size == 0) {
            found.push_back({Finding::Kind::damaged, database_->path(), "is empty"});
            return false;
        }
        Connection connection(database_->path(), *mode);
        connection.keepLogOnClose();
        connection.execute("PRAGMA temp_store = MEMORY; PRAGMA cell_size_check = ON");
        Format const format = examineFormat(connection);
        if (format == Format::older)
            found.push_back(
                {Finding::Kind::note, database_->path(), "an older format, which the next use migrates"});
        if (format == Format::empty)
            found.push_back({Finding::Kind::damaged, database_->path(), "has no tables"});
        if (format == Format::current)
            contents(connection, found, counted);
        return *mode != Connection::Mode::immutable;
    }

    // SQLite would make a log and an index where they are missing.
    std::optional<Connection::Mode> modeOfLooking(Findings& found) const {
        if (!hasWriteAheadLog(database_->path()))
            return Connection::Mode::observing;
        FileVersion const log(database_->path() + "-wal");
        FileVersion const index(database_->path() + "-shm");
        if (log.exists && index.exists)
            return Connection::Mode::observing;
        if (!log.exists || log.status.st_size == 0)
            return Connection::Mode::immutable;
        found.push_back({Finding::Kind::unreadable, database_->path() + "-wal",
                         "its index is missing; any reading command, such as containers, makes it"});
        return std::nullopt;
    }

    void contents(Connection& connection, Findings& found, Counts& counted) const {
        std::string const& path = database_->path();
        DWORD const error = outcome([&] {
            Statement integrity = connection.prepare(Query::integrityCheck);
            while (integrity.step())
                if (std::string const text = textOf(integrity.bytes(0)); text != "ok")
                    found.push_back({Finding::Kind::damaged, path, text});
            Statement foreign = connection.prepare(Query::foreignKeyCheck);
            while (foreign.step())
                found.push_back({Finding::Kind::damaged, path,
                                 "table " + textOf(foreign.bytes(0)) + ", row " +
                                     std::to_string(foreign.integer(1)) + ": leads to nothing in table " +
                                     textOf(foreign.bytes(2))});
        });
        if (error != ERROR_SUCCESS)
            tellFailure(found, error);
        Content const content = readContent(connection, found);
        counted.certificates = content.certificates.size();
        counted.containers = content.containers.size();
        std::size_t unsealable = 0;
        for (ContainerEntry const& container : content.containers)
            for (StoredKey const& key : container.keys) {
                ++counted.keys;
                OpenedKey const opened = openStoredKey(*database_, container.name, key);
                unsealable += opened.hasSealingKey ? 0 : 1;
                if (!opened.problem.empty())
                    found.push_back({Finding::Kind::damaged, "container " + container.name,
                                     std::string(slotName(key.slot)) + " key: " + opened.problem});
            }
        if (unsealable != 0)
            found.push_back({Finding::Kind::damaged, keyFileOf(*database_),
                             std::string(hasKeyFile_ ? "isn't the key" : "is missing, or another one") +
                                 " that " + std::to_string(unsealable) + " private keys are sealed under"});
    }

    static std::string textOf(ByteView bytes) { return {bytes.begin(), bytes.end()}; }

    std::shared_ptr<Database> const database_;
    bool hasDatabase_ = false;
    bool isRefused_ = false; // by the layer too, which then opens nothing
    bool hasKeyFile_ = false;
};

ExitCode checkCommand(Run& run, bool clean) {
    Check check(run.scope);
    Json removed = Json::array();
    check.files();
    check.database();
    check.leftovers(clean, removed);
    Json list = Json::array();
    for (Finding const& finding : check.findings) {
        list.push_back(jsonOf(finding));
        if (!run.json)
            run.output.line(lineOf(finding));
    }
    if (run.json) {
        run.output.json({{"database", check.path()},
                         {"certificates", check.counts.certificates},
                         {"containers", check.counts.containers},
                         {"keys", check.counts.keys},
                         {"findings", std::move(list)},
                         {"removed", std::move(removed)}});
    } else {
        for (Json const& path : removed)
            run.output.line("removed: " + path.get<std::string>());
        run.output.line(check.path() + ": " + std::to_string(check.counts.certificates) + " certificates, " +
                        std::to_string(check.counts.containers) + " containers, " +
                        std::to_string(check.counts.keys) + " keys");
    }
    return exitCodeOf(check.findings);
}

} // namespace

Work defineCheck(CLI::App& command) {
    auto const clean = std::make_shared<bool>(false);
    command.add_flag("--clean", *clean, "remove temporary files that are older than an hour");
    return [clean](Run& run) { return checkCommand(run, *clean); };
}

} // namespace wincryptctl

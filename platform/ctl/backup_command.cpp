#include "backup_directory.h"
#include "boundary.h"
#include "commands.h"
#include "content.h"
#include "database_copy.h"
#include "database_files.h"
#include "file_checks.h"
#include "file_descriptor.h"
#include "run_failure.h"
#include "schema.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace wincryptctl {

using namespace wincrypt;

namespace {

std::string nameOf(std::string const& path) { return path.substr(path.find_last_of('/') + 1); }

void writeAll(std::string const& path, SecureBytes const& bytes) {
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file || ::write(file.number(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) ||
        !file.close())
        throw systemFailure(path, errno);
}

// Under the rules by which the layer itself reads it.
std::optional<SecureBytes> readKeyFile(Database const& database) {
    constexpr std::size_t size = 32;
    std::string const path = keyFileOf(database);
    FileDescriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    if (!file && errno == ENOENT)
        return std::nullopt;
    struct stat status {};
    if (!file || ::fstat(file.number(), &status) != 0)
        throw systemFailure(path, errno);
    requireTrusted(database.scope(), path, status, S_IRWXG | S_IRWXO);
    SecureBytes key(size);
    if (status.st_size != static_cast<off_t>(size) ||
        ::read(file.number(), key.data(), size) != static_cast<ssize_t>(size))
        throw RunFailure(ExitCode::damaged, path + ": isn't a sealing key, which has 32 bytes");
    return key;
}

// The copy as it will be found: whole, of the format, every entry readable. Gives the keys' number.
std::size_t verify(std::string const& path) {
    Connection copy(path, Connection::Mode::immutable);
    if (examineFormat(copy) != Format::current)
        throw RunFailure(ExitCode::damaged, "the copy isn't of the database's format");
    if (std::string const text = copy.text("PRAGMA integrity_check(1)"); text != "ok")
        throw RunFailure(ExitCode::damaged, "the database is damaged, so there is no backup: " + text,
                         {"\"wincryptctl check\" tells what is damaged"});
    return static_cast<std::size_t>(copy.number("SELECT count(*) FROM key"));
}

void requireNoEnding() {
    sigset_t pending;
    if (::sigpending(&pending) == 0)
        for (int const signal : {SIGHUP, SIGINT, SIGTERM})
            if (sigismember(&pending, signal) == 1)
                fail(ERROR_CANCELLED);
}

ExitCode backup(Run& run, std::string const& path) {
    HeldSignals const signals;
    BackupDirectory directory(path);
    std::shared_ptr<Database> const database = Database::of(run.scope);
    auto use = database->reader();
    if (!use)
        throw RunFailure(ExitCode::no, database->path() + ": there is none yet");
    std::string const copy = directory.addFile(nameOf(database->path()));
    copyDatabase(*use->operator->(), copy);
    std::size_t const keys = verify(copy);
    // Made once and never changed, and before the first key that is sealed under it: so it is read behind.
    auto const key = readKeyFile(*database);
    if (key)
        writeAll(directory.addFile(nameOf(keyFileOf(*database))), *key);
    requireNoEnding();
    directory.keep();

    std::string const elsewhere = credentialFile();
    Json json{
        {"directory", path}, {"database", nameOf(database->path())}, {"sealingKey", nullptr}, {"keys", keys}};
    if (key)
        json["sealingKey"] = nameOf(keyFileOf(*database));
    if (run.json) {
        run.output.json(json);
        return ExitCode::done;
    }
    run.output.line(path + '/' + nameOf(database->path()) + ": " + std::to_string(keys) + " private keys");
    if (key)
        run.output.line(path + '/' + nameOf(keyFileOf(*database)));
    if (!elsewhere.empty())
        run.output.line("the sealing key comes from " + elsewhere + ", which is not in the backup");
    else if (!key && keys != 0)
        run.output.line("the sealing key isn't there: without it the private keys of the backup don't open");
    return ExitCode::done;
}

} // namespace

Work defineBackup(CLI::App& command) {
    auto const path = std::make_shared<std::string>();
    command.add_option("DIRECTORY", *path, "a directory that doesn't exist yet")->required()->type_name("");
    return [path](Run& run) {
        if (path->empty())
            throw RunFailure(ExitCode::usage, "DIRECTORY is empty");
        return backup(run, *path);
    };
}

} // namespace wincryptctl

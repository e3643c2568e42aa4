#include "database.h"

#include "boundary.h"
#include "database_creation.h"
#include "database_files.h"
#include "schema.h"
#include "stripes.h"

#include <cerrno>
#include <list>
#include <sys/stat.h>

namespace wincrypt {
namespace {

// Guarded by ProcessLock::databases, never destroyed: a thread may still be in a call while the process ends.
struct Registry {
    std::shared_ptr<Database> current[2];
    std::list<Database*> all;
};

Registry& registry() {
    // Asked for by what may not fail too, so it takes no memory.
    alignas(Registry) static unsigned char room[sizeof(Registry)];
    static Registry* const instance = new (room) Registry;
    return *instance;
}

// The process has come to its end: connections aren't kept any more.
constinit std::atomic<bool> ending{false};

bool sameDatabase(std::string const& path, dev_t device, ino_t inode) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && status.st_dev == device && status.st_ino == inode;
}

} // namespace

std::shared_ptr<Database> Database::of(Scope scope) {
    std::string path = databasePath(scope);
    struct stat status {};
    bool const exists = ::stat(path.c_str(), &status) == 0;
    auto const fitting = [&]() -> std::shared_ptr<Database> {
        std::shared_ptr<Database> const& current = registry().current[static_cast<std::size_t>(scope)];
        bool const fits =
            current && current->path_ == path && current->isCurrent(exists, status.st_dev, status.st_ino);
        return fits ? current : nullptr;
    };
    {
        std::lock_guard const lock(processLock(ProcessLock::databases));
        if (auto found = fitting())
            return found;
    }
    auto made = std::make_shared<Database>(scope, path, exists, status.st_dev, status.st_ino);
    std::shared_ptr<Database> former; // ends after the lock, which its end takes again
    std::lock_guard const lock(processLock(ProcessLock::databases));
    // Another thread may have been here meanwhile.
    if (auto found = fitting())
        return found;
    former = std::exchange(registry().current[static_cast<std::size_t>(scope)], made);
    return made;
}

Database::Database(Scope scope, std::string path, bool exists, dev_t device, ino_t inode)
    : scope_(scope), path_(std::move(path)), opened_(false), device_(exists ? device : 0),
      inode_(exists ? inode : 0) {
    std::lock_guard const lock(processLock(ProcessLock::databases));
    registry().all.push_back(this);
}

Database::~Database() {
    Lease const lease;
    {
        std::lock_guard const lock(processLock(ProcessLock::databases));
        registry().all.remove(this);
    }
    closeIdle(Log::bringIn);
}

// A file that was put in the place of the one that is open is another database; so is one that was taken
// away.
bool Database::isCurrent(bool exists, dev_t device, ino_t inode) const noexcept {
    if (!opened_.load())
        return true;
    return exists && device == device_.load() && inode == inode_.load();
}

std::string Database::directory() const { return path_.substr(0, path_.find_last_of('/')); }

// A thread comes back to the connection that it used last, whose pages are in its processor's cache.
std::atomic<Connection*>& Database::idleSlot(std::size_t number) noexcept {
    return idle_[(threadNumber() + number) % idleSlots];
}

Connection* Database::idle() noexcept {
    for (std::size_t number = 0; number < idleSlots; ++number) {
        std::atomic<Connection*>& slot = idleSlot(number);
        if (slot.load(std::memory_order_relaxed) != nullptr)
            if (Connection* connection = slot.exchange(nullptr); connection != nullptr)
                return connection;
    }
    return nullptr;
}

void Database::giveBack(Connection* connection) noexcept {
    if (ending.load(std::memory_order_relaxed)) {
        delete connection;
        return;
    }
    for (std::size_t number = 0; number < idleSlots; ++number) {
        Connection* expected = nullptr;
        if (idleSlot(number).compare_exchange_strong(expected, connection))
            return;
    }
    if (connection == anchor_.load())
        connection = idle_[0].exchange(connection);
    delete connection;
}

void Database::closeIdle(Log log) noexcept {
    logIndex_.store(nullptr);
    anchor_.store(nullptr);
    while (Connection* connection = idle()) {
        if (log == Log::keep)
            connection->keepLogOnClose();
        delete connection;
    }
}

Database::Use::~Use() {
    if (connection_ == nullptr)
        return;
    // A file opened as immutable is not locked and not watched, so the next use opens it afresh.
    if (connection_->mode() == Connection::Mode::immutable)
        delete connection_;
    else
        database_->giveBack(connection_);
}

// A write-ahead log works through memory that the machines of a network file system don't share, so a
// database that came there with one goes on with a rollback journal.
void Database::leaveLogOnNetwork(Connection& connection) {
    if (!isOnNetwork(path_) || connection.text("PRAGMA journal_mode") != "wal")
        return;
    if (!connection.setJournalMode("delete")) {
        logLine(path_,
                "refused: it lies on a network file system and is open elsewhere with a write-ahead log");
        fail(ERROR_BUSY);
    }
}

std::unique_ptr<Connection> Database::openExisting() {
    FileState const state = examineFile(scope_, path_);
    if (state == FileState::absent) {
        refuseLogAlone(path_);
        return nullptr;
    }
    auto const opened = [&](Connection::Mode mode) {
        auto connection = std::make_unique<Connection>(path_, mode);
        if (mode == Connection::Mode::readWrite)
            connection->execute("PRAGMA journal_size_limit = 4194304");
        connection->execute("PRAGMA temp_store = MEMORY; PRAGMA cell_size_check = ON");
        connection->number(
            "PRAGMA schema_version"); // reads the file, so that what is wrong with it shows here
        return connection;
    };
    if (state == FileState::writable) {
        unprotectLogs(path_);
        std::unique_ptr<Connection> connection;
        DWORD const error = outcome([&] { connection = opened(Connection::Mode::readWrite); });
        if (error == ERROR_SUCCESS) {
            leaveLogOnNetwork(*connection);
            return connection;
        }
        // A directory that can't be written has no room for the log, but reading needs none.
        if (error != ERROR_ACCESS_DENIED)
            fail(error);
    }
    std::unique_ptr<Connection> connection;
    DWORD const error = outcome([&] { connection = opened(Connection::Mode::readOnly); });
    if (error == ERROR_SUCCESS)
        return connection;
    if (error != ERROR_ACCESS_DENIED)
        fail(error);
    // Without write access and with nothing left to bring in, the file is whole as it stands.
    for (char const* suffix : {"-wal", "-journal"}) {
        struct stat log {};
        std::string const name = path_ + suffix;
        if (::stat(name.c_str(), &log) == 0 ? log.st_size == 0 : errno == ENOENT)
            continue;
        logLine(name, "left by another process, and can't be brought in without write access");
        fail(ERROR_ACCESS_DENIED);
    }
    return opened(Connection::Mode::immutable);
}

// SQLite fills up a last page that was cut short, and so drops rows without a word. While a log holds
// changes, the page may still be written whole.
void Database::refuseCutPage(Connection& connection, off_t size) const {
    constexpr off_t usualPage = 4096;
    if (size % usualPage == 0 || size % connection.number("PRAGMA page_size") == 0)
        return;
    for (char const* suffix : {"-wal", "-journal"}) {
        struct stat log {};
        if (::stat((path_ + suffix).c_str(), &log) == 0 && log.st_size != 0)
            return;
    }
    logLine(path_, "damaged: its last page was cut short");
    fail(ERROR_FILE_CORRUPT);
}

std::unique_ptr<Connection> Database::open(bool create) {
    std::unique_ptr<Connection> connection = openExisting();
    if (!connection) {
        if (!create)
            return nullptr;
        createDatabase(path_);
        connection = openExisting();
        if (!connection) {
            logLine(path_, "vanished while it was being made");
            fail(ERROR_PATH_NOT_FOUND);
        }
    }
    Format const format = examineFormat(*connection);
    if (format == Format::empty) { // ours are made with their tables
        logLine(path_, "refused: a database without tables");
        fail(ERROR_FILE_CORRUPT);
    }
    if (format == Format::older) {
        if (connection->mode() != Connection::Mode::readWrite) {
            logLine(path_, "an older format that can't be migrated without write access");
            fail(ERROR_ACCESS_DENIED);
        }
        connection->setDurability(Durability::now);
        migrate(*connection);
    }
    struct stat status {};
    if (::stat(path_.c_str(), &status) == 0) {
        refuseCutPage(*connection, status.st_size);
        device_.store(status.st_dev);
        inode_.store(status.st_ino);
        opened_.store(true);
    }
    if (connection->mode() == Connection::Mode::readWrite && anchor_.load() == nullptr && !ending.load()) {
        volatile std::uint32_t const* index = connection->logIndex();
        Connection* none = nullptr;
        if (anchor_.compare_exchange_strong(none, connection.get()))
            logIndex_.store(index);
    }
    return connection;
}

std::optional<Database::Use> Database::reader() {
    Connection* connection = idle();
    if (connection == nullptr)
        connection = open(false).release();
    if (connection == nullptr)
        return std::nullopt;
    return std::optional<Use>(std::in_place, *this, connection);
}

Database::Use Database::writer() {
    // A change to a file that no longer stands under its name would be acknowledged and lost.
    if (opened_.load() && !sameDatabase(path_, device_.load(), inode_.load())) {
        logLine(path_, "was removed or replaced while it was open");
        fail(ERROR_FILE_NOT_FOUND);
    }
    Connection* connection = idle();
    // One that was opened when the file couldn't be written says nothing about now.
    for (; connection != nullptr && connection->mode() != Connection::Mode::readWrite; connection = idle())
        delete connection;
    if (connection == nullptr)
        connection = open(true).release();
    Use use(*this, connection);
    if (use->mode() != Connection::Mode::readWrite) {
        logLine(path_, "can't be written");
        fail(ERROR_ACCESS_DENIED);
    }
    return use;
}

void Database::undo(Connection& connection) noexcept {
    // A failed commit may have rolled back by itself; then there is nothing left to undo.
    if (outcome([&] { connection.prepare(Query::rollback).run(); }) != ERROR_SUCCESS)
        logLine(path_, "the change was already undone");
}

// Changes mostly are durable; the setting costs least beside what was just done. Where it fails, the next
// change makes it.
void Database::expectDurable(Connection& connection) noexcept {
    outcome([&] { connection.setDurability(Durability::now); });
}

Stamp Database::stamp() {
    volatile std::uint32_t const* index = logIndex_.load();
    Stamp stamp;
    if (index == nullptr)
        return stamp;
    // The header stands twice; a writer fills the second copy first. Unequal copies are a change under way.
    constexpr std::size_t words = std::tuple_size_v<decltype(stamp.words)>;
    auto const word = [&](std::size_t place) { return __atomic_load_n(index + place, __ATOMIC_ACQUIRE); };
    for (std::size_t i = 0; i < words; ++i)
        stamp.words[i] = word(i);
    stamp.known = true;
    for (std::size_t i = 0; i < words; ++i)
        stamp.known = stamp.known && word(words + i) == stamp.words[i];
    return stamp;
}

void closeConnectionsBeforeFork() noexcept {
    for (Database* database : registry().all)
        database->closeIdle(Database::Log::keep);
}

void closeConnectionsAtExit() noexcept {
    ending.store(true);
    std::lock_guard const lock(processLock(ProcessLock::databases));
    for (Database* database : registry().all)
        database->closeIdle(Database::Log::bringIn);
}

} // namespace wincrypt

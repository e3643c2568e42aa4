#include "sqlite_connection.h"

#include "log.h"

#include <sqlite3.h>

#include <ctime>
#include <memory>
#include <new>

namespace wincrypt {
namespace {

constexpr int busyMilliseconds = 30'000;

// Waits in short steps: a durable change holds the lock for well under a millisecond, so the steps of seconds
// that suit long transactions would leave processes asleep while the lock is free.
int waitBusy(void*, int tries) {
    constexpr long stepMicroseconds = 250;
    long const step = tries < 200 ? stepMicroseconds : 10 * stepMicroseconds;
    long const waited = tries < 200 ? tries * step : 50'000 + (tries - 200) * step;
    if (waited > busyMilliseconds * 1000L)
        return 0;
    timespec const pause{0, step * 1000};
    ::nanosleep(&pause, nullptr);
    return 1;
}

DWORD errorOf(int result) noexcept {
    switch (result & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return ERROR_BUSY;
    case SQLITE_ERROR: // our statements are always the same: tables that they don't fit were altered
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return ERROR_FILE_CORRUPT;
    case SQLITE_FULL:
        return ERROR_DISK_FULL;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_CANTOPEN:
        return ERROR_ACCESS_DENIED;
    case SQLITE_IOERR:
        return ERROR_IO_DEVICE;
    default:
        return ERROR_INTERNAL_ERROR;
    }
}

// The URI of a path, with a parameter.
std::string uriOf(std::string const& path, char const* parameter) {
    static constexpr char digits[] = "0123456789ABCDEF";
    // With an empty authority, so that a path that begins with two slashes isn't taken for one.
    std::string uri = path.starts_with('/') ? "file://" : "file:";
    for (char const byte : path) {
        auto const value = static_cast<unsigned char>(byte);
        if (value == '?' || value == '#' || value == '%' || value < 0x21 || value > 0x7E) {
            uri += '%';
            uri += digits[value >> 4];
            uri += digits[value & 0xF];
        } else {
            uri += byte;
        }
    }
    return uri + parameter;
}

} // namespace

void failSqlite(int result, std::string const& path, char const* cause) {
    if ((result & 0xFF) == SQLITE_NOMEM || result == SQLITE_IOERR_NOMEM)
        throw std::bad_alloc();
    logLine(path, cause);
    fail(errorOf(result));
}

Connection::Connection(std::string path, Mode mode) : path_(std::move(path)), mode_(mode) {
    char const* const parameter = mode == Mode::immutable   ? "?immutable=1"
                                  : mode == Mode::observing ? "?readonly_shm=1"
                                                            : nullptr;
    int const flags = (mode == Mode::readWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) |
                      SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE |
                      (parameter != nullptr ? SQLITE_OPEN_URI : 0);
    std::string const name = parameter != nullptr ? uriOf(path_, parameter) : path_;
    int const result = sqlite3_open_v2(name.c_str(), &database_, flags, nullptr);
    if (result != SQLITE_OK) {
        std::string const cause = database_ != nullptr ? sqlite3_errmsg(database_) : "out of memory";
        sqlite3_close_v2(database_);
        failSqlite(result, path_, cause.c_str());
    }
    // Reading must change nothing, and SQLite would make the log and remove it again: it stays, and empty.
    int keepFile = 1;
    sqlite3_file_control(database_, "main", SQLITE_FCNTL_PERSIST_WAL, &keepFile);
    sqlite3_busy_handler(database_, waitBusy, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
}

Connection::~Connection() {
    for (sqlite3_stmt* statement : statements_)
        sqlite3_finalize(statement);
    if (int const result = sqlite3_close_v2(database_); result != SQLITE_OK)
        logLine(path_, sqlite3_errstr(result));
}

Statement Connection::prepare(Query query) {
    sqlite3_stmt*& statement = statements_[static_cast<std::size_t>(query)];
    if (statement == nullptr) {
        int const result = sqlite3_prepare_v3(database_, queryText[static_cast<std::size_t>(query)], -1,
                                              SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
        if (result != SQLITE_OK)
            failSqlite(result, path_, sqlite3_errmsg(database_));
    }
    return {database_, statement, path_};
}

void Connection::execute(char const* sql) {
    if (int const result = sqlite3_exec(database_, sql, nullptr, nullptr, nullptr); result != SQLITE_OK)
        failSqlite(result, path_, sqlite3_errmsg(database_));
}

std::string Connection::text(char const* sql) {
    sqlite3_stmt* statement = nullptr;
    int result = sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr);
    std::string value;
    if (result == SQLITE_OK) {
        result = sqlite3_step(statement);
        if (result == SQLITE_ROW)
            if (unsigned char const* column = sqlite3_column_text(statement, 0); column != nullptr)
                value = reinterpret_cast<char const*>(column);
        // Null is also what a number becomes that there is no memory to write as text.
        if (sqlite3_errcode(database_) == SQLITE_NOMEM)
            result = SQLITE_NOMEM;
    }
    std::string const cause = sqlite3_errmsg(database_);
    sqlite3_finalize(statement);
    if (result != SQLITE_OK && result != SQLITE_ROW && result != SQLITE_DONE)
        failSqlite(result, path_, cause.c_str());
    return value;
}

bool Connection::setJournalMode(char const* mode) {
    // The change needs the file for itself, and SQLite doesn't wait for that.
    std::string const sql = std::string("PRAGMA journal_mode = ") + mode;
    constexpr int tries = 100;
    for (int i = 0; i < tries; ++i) {
        int const result = sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr);
        if (result == SQLITE_OK)
            return text("PRAGMA journal_mode") == mode;
        if ((result & 0xFF) != SQLITE_BUSY)
            failSqlite(result, path_, sqlite3_errmsg(database_));
        timespec const pause{0, 10'000'000};
        ::nanosleep(&pause, nullptr);
    }
    return false;
}

std::int64_t Connection::number(char const* sql) {
    std::string const value = text(sql);
    return value.empty() ? 0 : std::stoll(value);
}

std::int64_t Connection::rowsChanged() const noexcept { return sqlite3_changes(database_); }

void Connection::setDurability(Durability durability) {
    if (durability_ == durability)
        return;
    // With a rollback journal, FULL leaves open whether the journal's removal outlives a power loss.
    execute(durability == Durability::now ? "PRAGMA synchronous = EXTRA" : "PRAGMA synchronous = NORMAL");
    durability_ = durability;
}

Bytes Connection::image() const {
    struct Free {
        void operator()(unsigned char* bytes) const noexcept { sqlite3_free(bytes); }
    };
    sqlite3_int64 size = 0;
    std::unique_ptr<unsigned char, Free> const bytes(sqlite3_serialize(database_, "main", &size, 0));
    if (!bytes)
        throw std::bad_alloc();
    return {bytes.get(), bytes.get() + size};
}

volatile std::uint32_t const* Connection::logIndex() {
    if (mode_ != Mode::readWrite || text("PRAGMA journal_mode") != "wal")
        return nullptr;
    sqlite3_file* file = nullptr;
    if (sqlite3_file_control(database_, "main", SQLITE_FCNTL_FILE_POINTER, static_cast<void*>(&file)) !=
            SQLITE_OK ||
        file == nullptr || file->pMethods == nullptr || file->pMethods->iVersion < 2)
        return nullptr;
    // The pragma above left the index mapped; asking for its first region gives the mapping that stands.
    constexpr int regionSize = 32 * 1024;
    void volatile* region = nullptr;
    if (file->pMethods->xShmMap(file, 0, regionSize, 0, &region) != SQLITE_OK)
        return nullptr;
    return static_cast<volatile std::uint32_t const*>(region);
}

void Connection::keepLogOnClose() noexcept {
    sqlite3_db_config(database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

Statement::~Statement() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

void Statement::check(int result) {
    if (result != SQLITE_OK)
        failSqlite(result, path_, sqlite3_errmsg(database_));
}

Statement& Statement::bind(int index, std::int64_t value) {
    check(sqlite3_bind_int64(statement_, index, value));
    return *this;
}

Statement& Statement::bind(int index, ByteView value) {
    // An empty blob is not null.
    static constexpr char nothing = 0;
    void const* data = value.empty() ? static_cast<void const*>(&nothing) : value.data();
    check(sqlite3_bind_blob64(statement_, index, data, value.size(), SQLITE_STATIC));
    return *this;
}

Statement& Statement::bindText(int index, std::string_view value) {
    check(sqlite3_bind_text64(statement_, index, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8));
    return *this;
}

Statement& Statement::bindNull(int index) {
    check(sqlite3_bind_null(statement_, index));
    return *this;
}

bool Statement::step() {
    int const result = sqlite3_step(statement_);
    if (result == SQLITE_ROW)
        return true;
    if (result == SQLITE_DONE)
        return false;
    failSqlite(result, path_, sqlite3_errmsg(database_));
}

std::int64_t Statement::integer(int column) const noexcept {
    return sqlite3_column_int64(statement_, column);
}

ByteView Statement::bytes(int column) const {
    void const* data = sqlite3_column_blob(statement_, column);
    return {static_cast<std::uint8_t const*>(data),
            static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

bool Statement::isNull(int column) const noexcept {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

} // namespace wincrypt

#include "support/sqlite.h"

#include <sqlite3.h>

#include <stdexcept>

namespace bench {

Sqlite::Sqlite(std::filesystem::path const& file) {
    sqlite3* opened = nullptr;
    int const result = sqlite3_open(file.c_str(), &opened);
    connection_.reset(opened);
    require(result == SQLITE_OK, file.string());
    int keepFile = 1;
    sqlite3_file_control(opened, "main", SQLITE_FCNTL_PERSIST_WAL, &keepFile);
    constexpr int patience = 30'000;
    sqlite3_busy_timeout(opened, patience);
    execute("PRAGMA synchronous = FULL; PRAGMA journal_size_limit = 4194304");
}

void Sqlite::Close::operator()(sqlite3* connection) const { sqlite3_close(connection); }

void Sqlite::require(bool good, std::string const& what) const {
    if (!good) {
        throw std::runtime_error(what + ": " + sqlite3_errmsg(connection_.get()));
    }
}

void Sqlite::execute(std::string const& sql) {
    require(sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, sql);
}

std::int64_t Sqlite::number(std::string const& sql) {
    SqliteStatement statement(*this, sql);
    return statement.step() ? statement.integer(0) : 0;
}

SqliteStatement::SqliteStatement(Sqlite& database, std::string const& sql) : database_(database) {
    sqlite3_stmt* prepared = nullptr;
    int const result = sqlite3_prepare_v3(database.connection_.get(), sql.c_str(), -1,
                                          SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
    statement_.reset(prepared);
    database_.require(result == SQLITE_OK, sql);
}

void SqliteStatement::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

void SqliteStatement::bind(int index, std::int64_t value) {
    database_.require(sqlite3_bind_int64(statement_.get(), index, value) == SQLITE_OK, "binding a number");
}

void SqliteStatement::bind(int index, std::span<std::uint8_t const> value) {
    database_.require(
        sqlite3_bind_blob64(statement_.get(), index, value.data(), value.size(), SQLITE_STATIC) == SQLITE_OK,
        "binding bytes");
}

bool SqliteStatement::step() {
    int const result = sqlite3_step(statement_.get());
    if (result == SQLITE_ROW) {
        return true;
    }
    database_.require(result == SQLITE_DONE, sqlite3_sql(statement_.get()));
    reset();
    return false;
}

void SqliteStatement::reset() { sqlite3_reset(statement_.get()); }

std::int64_t SqliteStatement::integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

std::span<std::uint8_t const> SqliteStatement::bytes(int column) const {
    void const* const data = sqlite3_column_blob(statement_.get(), column);
    return {static_cast<std::uint8_t const*>(data),
            static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

} // namespace bench

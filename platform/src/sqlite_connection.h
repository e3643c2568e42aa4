// Thin calls over SQLite: a connection with its prepared statements, and one place that turns results into
// errors.
#pragma once

#include "bytes.h"
#include "queries.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace wincrypt {

// What a row or a change is read from or written to. The statement is reset when this goes, and with it its
// read transaction ends.
class Statement {
public:
    Statement(sqlite3* database, sqlite3_stmt* statement, std::string const& path) noexcept
        : database_(database), statement_(statement), path_(path) {}
    ~Statement();
    Statement(Statement const&) = delete;
    Statement& operator=(Statement const&) = delete;

    Statement& bind(int index, std::int64_t value);
    Statement& bind(int index, ByteView value); // the bytes must live until the statement goes
    Statement& bindText(int index, std::string_view value);
    Statement& bindNull(int index);

    bool step(); // true for a row, false at the end
    void run() {
        while (step()) {}
    }

    std::int64_t integer(int column) const noexcept;
    ByteView bytes(int column) const; // until the next step
    bool isNull(int column) const noexcept;

private:
    void check(int result);

    sqlite3* database_;
    sqlite3_stmt* statement_;
    std::string const& path_;
};

// What loss of power can take: nothing, or a change that no later durable one has followed. A process that
// dies takes neither.
enum class Durability { now, withNext };

class Connection {
public:
    // An observing connection makes and changes no file, neither log nor index: a log without its index can't
    // be read by it.
    enum class Mode { readWrite, readOnly, immutable, observing };

    Connection(std::string path, Mode mode); // opens; fails with the published value
    ~Connection();
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    Statement prepare(Query query);
    void execute(char const* sql);
    std::int64_t number(char const* sql); // first column of the first row, 0 without one
    std::string text(char const* sql);
    std::int64_t rowsChanged() const noexcept; // by the last statement that changes any

    // Changes how the file is kept whole, "wal" or "delete". False when other connections to it stay
    // open, or when the file system can't do it.
    bool setJournalMode(char const* mode);

    Mode mode() const noexcept { return mode_; }
    std::string const& path() const noexcept { return path_; }

    void setDurability(Durability durability); // of the changes from here on

    Bytes image() const; // the database as a file of it would be

    // Start of the write-ahead log's index in shared memory, null where the database has none.
    volatile std::uint32_t const* logIndex();

    // Leaves the log as it is when this connection closes, even as the last one.
    void keepLogOnClose() noexcept;

private:
    friend void copyDatabase(Connection& from, std::string const& path);

    std::string path_;
    Mode mode_;
    std::optional<Durability> durability_;
    sqlite3* database_ = nullptr;
    std::array<sqlite3_stmt*, queryCount> statements_{};
};

// Logs the cause and throws the published value of an SQLite result.
[[noreturn]] void failSqlite(int result, std::string const& path, char const* cause);

} // namespace wincrypt

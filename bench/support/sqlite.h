#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace bench {

// Plain SQLite, as a program would use it that keeps its certificates there itself: a write-ahead log, each
// change durable (synchronous=FULL), waiting for other processes by SQLite's own busy handler. The log's file
// stays after closing, emptied, as that of the layer does: neither side has to make it at opening, and both
// have to extend it again.
class Sqlite {
public:
    explicit Sqlite(std::filesystem::path const& file);

    void execute(std::string const& sql);
    std::int64_t number(std::string const& sql);

private:
    friend class SqliteStatement;
    struct Close {
        void operator()(sqlite3* connection) const;
    };
    void require(bool good, std::string const& what) const;

    std::unique_ptr<sqlite3, Close> connection_;
};

// A statement that is prepared once and run again and again.
class SqliteStatement {
public:
    SqliteStatement(Sqlite& database, std::string const& sql);

    void bind(int index, std::int64_t value);
    void bind(int index, std::span<std::uint8_t const> value);

    // True while there is a row. At the end the statement can be run again.
    bool step();

    // Ends a run before its last row.
    void reset();

    std::int64_t integer(int column) const;
    std::span<std::uint8_t const> bytes(int column) const;

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    Sqlite& database_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

} // namespace bench

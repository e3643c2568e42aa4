#include "database_copy.h"

#include "boundary.h"

#include <sqlite3.h>

#include <csignal>
#include <memory>

namespace wincrypt {
namespace {

struct CloseDatabase {
    void operator()(sqlite3* database) const noexcept { sqlite3_close_v2(database); }
};
using DatabasePtr = std::unique_ptr<sqlite3, CloseDatabase>;

DatabasePtr openTarget(std::string const& path) {
    sqlite3* opened = nullptr;
    int const result = sqlite3_open_v2(
        path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    DatabasePtr target(opened);
    if (result != SQLITE_OK)
        failSqlite(result, path, target ? sqlite3_errmsg(target.get()) : "out of memory");
    // Nobody else sees the copy before it is whole, and a failed one is thrown away.
    if (int const set = sqlite3_exec(opened, "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF", nullptr,
                                     nullptr, nullptr);
        set != SQLITE_OK)
        failSqlite(set, path, sqlite3_errmsg(opened));
    return target;
}

bool isEndingPending() {
    sigset_t pending;
    if (::sigpending(&pending) != 0)
        return false;
    return sigismember(&pending, SIGINT) == 1 || sigismember(&pending, SIGTERM) == 1 ||
           sigismember(&pending, SIGHUP) == 1;
}

int copyPages(sqlite3* from, sqlite3* target) {
    constexpr int pagesAtOnce = 4096;
    sqlite3_backup* const backup = sqlite3_backup_init(target, "main", from, "main");
    if (backup == nullptr)
        return sqlite3_errcode(target);
    int result = SQLITE_OK;
    while ((result = sqlite3_backup_step(backup, pagesAtOnce)) == SQLITE_OK)
        if (isEndingPending()) {
            result = SQLITE_INTERRUPT;
            break;
        }
    int const finished = sqlite3_backup_finish(backup);
    return result == SQLITE_DONE ? finished : result;
}

} // namespace

void copyDatabase(Connection& from, std::string const& path) {
    DatabasePtr const target = openTarget(path);
    // One snapshot for all steps, so that a change by others doesn't start the copy anew.
    from.execute("BEGIN");
    int result = SQLITE_OK;
    DWORD const error = outcome([&] {
        from.number("PRAGMA schema_version");
        result = copyPages(from.database_, target.get());
    });
    DWORD const ended = outcome([&] { from.execute("ROLLBACK"); });
    if (error != ERROR_SUCCESS || ended != ERROR_SUCCESS)
        fail(error != ERROR_SUCCESS ? error : ended);
    if (result == SQLITE_INTERRUPT)
        fail(ERROR_CANCELLED);
    if (result != SQLITE_OK)
        failSqlite(result, path, sqlite3_errstr(result));
}

} // namespace wincrypt

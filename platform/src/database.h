// One database per scope: where it lies, who may use it, its connections and its format version.
#pragma once

#include "sqlite_connection.h"

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <sys/types.h>
#include <utility>

namespace wincrypt {

enum class Scope { user, machine };

// State of the database at one moment, told without a query where the database has a write-ahead log: equal
// known stamps mean that nothing was committed in between, by any process.
struct Stamp {
    std::array<std::uint32_t, 12> words{};
    bool known = false;

    bool sameAs(Stamp const& other) const noexcept { return known && other.known && words == other.words; }
};

class Database {
public:
    // The scope's database as the environment names it now. Nothing is opened or made.
    // Error: ERROR_PATH_NOT_FOUND for the user's without a home directory.
    static std::shared_ptr<Database> of(Scope scope);

    Database(Scope scope, std::string path, bool exists, dev_t device, ino_t inode);
    ~Database();
    Database(Database const&) = delete;
    Database& operator=(Database const&) = delete;

    // A connection borrowed from the database; it goes back when the use ends. No other call of the layer and
    // no callback runs meanwhile.
    class Use {
    public:
        Use(Database& database, Connection* connection) noexcept
            : database_(&database), connection_(connection) {}
        Use(Use&& other) noexcept
            : database_(other.database_), connection_(std::exchange(other.connection_, nullptr)) {}
        ~Use();
        Connection* operator->() const noexcept { return connection_; }

    private:
        Database* database_;
        Connection* connection_;
    };

    // For reading: nothing when the database doesn't exist, which reads as empty.
    std::optional<Use> reader();

    // Runs the body in one transaction; what it throws undoes the whole. Makes the database when it is
    // missing.
    template <class Body>
    auto change(Body&& body, Durability durability = Durability::now) {
        Use use = writer();
        use->setDurability(durability);
        use->prepare(Query::begin).run();
        try {
            auto result = body(*use.operator->());
            use->prepare(Query::commit).run();
            expectDurable(*use.operator->());
            return result;
        } catch (...) {
            undo(*use.operator->());
            throw;
        }
    }

    Stamp stamp();

    std::string const& path() const noexcept { return path_; }
    Scope scope() const noexcept { return scope_; }
    std::string directory() const;

    // Fails where reading would.
    void probe() { reader(); }

private:
    friend void closeConnectionsBeforeFork() noexcept;
    friend void closeConnectionsAtExit() noexcept;

    Use writer();
    void undo(Connection& connection) noexcept;
    void expectDurable(Connection& connection) noexcept;
    std::unique_ptr<Connection> open(bool create);
    std::unique_ptr<Connection> openExisting();
    void refuseCutPage(Connection& connection, off_t size) const;
    void leaveLogOnNetwork(Connection& connection);
    std::atomic<Connection*>& idleSlot(std::size_t number) noexcept;
    Connection* idle() noexcept;
    void giveBack(Connection* connection) noexcept;
    enum class Log { bringIn, keep };
    void closeIdle(Log log) noexcept;
    bool isCurrent(bool exists, dev_t device, ino_t inode) const noexcept;

    static constexpr std::size_t idleSlots = 16;

    Scope const scope_;
    std::string const path_;
    std::atomic<bool> opened_;
    std::atomic<dev_t> device_;
    std::atomic<ino_t> inode_;
    std::array<std::atomic<Connection*>, idleSlots> idle_{};
    // The first connection stays open, so that the mapping of the log's index stays.
    std::atomic<Connection*> anchor_{nullptr};
    std::atomic<volatile std::uint32_t const*> logIndex_{nullptr};
};

} // namespace wincrypt

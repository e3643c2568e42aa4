#include "database_creation.h"

#include "database_files.h"
#include "schema.h"

namespace wincrypt {

void createDatabase(std::string const& path) {
    std::string const directory = directoryOf(path);
    createDirectories(directory);
    requireTrustedDirectory(directory);
    TemporaryFile const temporary(path);
    {
        Connection connection(temporary.path(), Connection::Mode::readWrite);
        connection.execute("PRAGMA synchronous = EXTRA");
        migrate(connection);
        if (!isOnNetwork(directory))
            connection.setJournalMode("wal"); // without it, the rollback journal does as well
    }
    temporary.nameIt(path);
}

} // namespace wincrypt

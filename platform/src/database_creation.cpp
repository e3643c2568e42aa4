#include "database_creation.h"

#include "database_files.h"
#include "new_file.h"
#include "schema.h"

namespace wincrypt {
namespace {

// A file's header says in two octets how it is kept whole; both have this value for a write-ahead log.
constexpr std::size_t journalPlace = 18;
constexpr std::uint8_t writeAheadLog = 2;

} // namespace

void createDatabase(std::string const& path) {
    std::string const directory = directoryOf(path);
    createDirectories(directory);
    requireTrustedDirectory(directory);
    Connection connection(":memory:", Connection::Mode::readWrite);
    migrate(connection);
    Bytes image = connection.image();
    if (!isOnNetwork(directory)) // without it, the rollback journal does as well
        image[journalPlace] = image[journalPlace + 1] = writeAheadLog;
    createFile(path, image);
}

} // namespace wincrypt

// The files of a database as they lie there, looked at without opening the database.
#pragma once

#include "database.h"
#include "findings.h"

#include <chrono>
#include <string>
#include <vector>

namespace wincryptctl {

std::string keyFileOf(wincrypt::Database const& database);

// Whether what a symbolic link leads to is taken for the file.
enum class Links { follow, refuse };

// Whether the file is there; tells when it isn't the user's own or others have rights to it. `forbidden` are
// the mode bits that it must not have.
bool checkFile(wincrypt::Scope scope, std::string const& path, unsigned forbidden, Links links,
               Findings& findings);

// Where a service manager's secret stands in place of the key file; empty without one.
std::string credentialFile();

// Tells when logs with changes lie beside the database.
void checkLogs(wincrypt::Database const& database, Findings& findings);

struct Leftover {
    std::string path;
    std::chrono::minutes age;
};

// Temporary files of the layer beside the database, by name.
std::vector<Leftover> findLeftovers(wincrypt::Database const& database);

} // namespace wincryptctl

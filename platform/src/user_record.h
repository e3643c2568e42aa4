#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace wincrypt {

// What the system knows of a user (getpwuid_r); either may be empty.
struct UserRecord {
    std::string name;
    std::string home;
};

// Nothing for a user whom the system doesn't know, or can't tell about now.
std::optional<UserRecord> userRecord(uid_t user);

} // namespace wincrypt

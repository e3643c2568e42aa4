#include "user_record.h"

#include <cerrno>
#include <pwd.h>
#include <vector>

namespace wincrypt {

std::optional<UserRecord> userRecord(uid_t user) {
    auto const text = [](char const* value) { return std::string(value != nullptr ? value : ""); };
    constexpr std::size_t most = std::size_t{1024} * 1024;
    for (std::size_t size = 1024; size <= most; size *= 4) {
        std::vector<char> room(size);
        passwd entry{};
        passwd* found = nullptr;
        int const error = ::getpwuid_r(user, &entry, room.data(), room.size(), &found);
        if (error == 0 && found != nullptr)
            return UserRecord{text(entry.pw_name), text(entry.pw_dir)};
        if (error != ERANGE)
            break;
    }
    return std::nullopt;
}

} // namespace wincrypt

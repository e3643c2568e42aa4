#include "login_name.h"

#include "text.h"

#include <atomic>
#include <cerrno>
#include <memory>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace wincrypt {
namespace {

struct Known {
    uid_t user;
    std::string name;
};

std::string lookUp(uid_t user) {
    constexpr std::size_t most = 1024 * 1024;
    for (std::size_t size = 1024; size <= most; size *= 4) {
        std::vector<char> room(size);
        passwd entry{};
        passwd* found = nullptr;
        int const error = ::getpwuid_r(user, &entry, room.data(), room.size(), &found);
        if (error == 0 && found != nullptr && entry.pw_name != nullptr && *entry.pw_name != '\0' &&
            isUtf8(entry.pw_name))
            return entry.pw_name;
        if (error != ERANGE)
            break;
    }
    return std::to_string(user);
}

} // namespace

std::string loginName() {
    // Asking the system costs a file or a network question, and every opening of a container asks. The first
    // user that asks is kept; a process that changes its user pays for the question.
    static std::atomic<Known const*> known{nullptr};
    uid_t const user = ::geteuid();
    if (Known const* record = known.load(std::memory_order_acquire);
        record != nullptr && record->user == user)
        return record->name;
    auto record = std::make_unique<Known>(Known{user, lookUp(user)});
    std::string const name = record->name;
    Known const* none = nullptr;
    if (known.compare_exchange_strong(none, record.get()))
        record.release();
    return name;
}

} // namespace wincrypt

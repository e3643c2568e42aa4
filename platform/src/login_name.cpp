#include "login_name.h"

#include "text.h"
#include "user_record.h"

#include <atomic>
#include <memory>
#include <unistd.h>
#include <utility>

namespace wincrypt {
namespace {

struct Known {
    uid_t user;
    std::string name;
};

std::string lookUp(uid_t user) {
    auto record = userRecord(user);
    bool const isText = record && !record->name.empty() && isUtf8(record->name);
    return isText ? std::move(record->name) : std::to_string(user);
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

#include "key_context.h"

#include "boundary.h"
#include "provider_objects.h"

#include <atomic>
#include <map>

namespace wincrypt {
namespace {

using RowName = std::pair<Database const*, std::int64_t>;

// Guarded by ProcessLock::keyContexts; never destroyed.
std::map<RowName, std::weak_ptr<KeyContextSlot>>& slots() {
    static auto* const instance = new std::map<RowName, std::weak_ptr<KeyContextSlot>>;
    return *instance;
}

// Nearly every process has none, and every property query asks.
constinit std::atomic<bool> anySlot{false};

void release(std::optional<KeyContext> const& context) {
    if (context && context->owned && outcome([&] { releaseContext(context->provider); }) != ERROR_SUCCESS)
        logLine("certificate key context", "its provider handle was released by somebody else");
}

} // namespace

KeyContextSlot::~KeyContextSlot() { release(value_); }

std::optional<KeyContext> KeyContextSlot::get() const {
    std::lock_guard const lock(processLock(ProcessLock::keyContexts));
    return value_;
}

void KeyContextSlot::set(std::optional<KeyContext> value) {
    {
        std::lock_guard const lock(processLock(ProcessLock::keyContexts));
        std::swap(value, value_);
        // Setting the same handle again doesn't end it.
        if (value && value_ && value->provider == value_->provider)
            return;
    }
    release(value);
}

std::shared_ptr<KeyContextSlot> slotOfRow(Database const& database, std::int64_t row, bool make) {
    if (!make && !anySlot.load(std::memory_order_acquire))
        return nullptr;
    std::lock_guard const lock(processLock(ProcessLock::keyContexts));
    auto& all = slots();
    auto const found = all.find({&database, row});
    if (found != all.end())
        if (auto slot = found->second.lock())
            return slot;
    if (!make)
        return nullptr;
    std::erase_if(all, [](auto const& each) { return each.second.expired(); });
    auto slot = std::make_shared<KeyContextSlot>();
    all[{&database, row}] = slot;
    anySlot.store(true, std::memory_order_release);
    return slot;
}

} // namespace wincrypt

// Property 5: a provider handle that a certificate of this process owns.
#pragma once

#include "database.h"

#include <wincrypt.h>

#include <memory>
#include <optional>

namespace wincrypt {

struct KeyContext {
    HCRYPTPROV provider = 0;
    DWORD keySpec = 0;
    bool owned = false; // released with the property
};

// Where the contexts of one certificate keep the property together. It goes, and with it the handle, when the
// last context that has seen it is freed.
class KeyContextSlot {
public:
    KeyContextSlot() = default;
    ~KeyContextSlot();
    KeyContextSlot(KeyContextSlot const&) = delete;
    KeyContextSlot& operator=(KeyContextSlot const&) = delete;

    std::optional<KeyContext> get() const;
    void set(std::optional<KeyContext> value); // lets the former one go

private:
    std::optional<KeyContext> value_;
};

// The slot of a certificate in a database; null when there is none and none is to be made.
std::shared_ptr<KeyContextSlot> slotOfRow(Database const& database, std::int64_t row, bool make);

} // namespace wincrypt

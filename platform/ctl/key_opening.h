#pragma once

#include "content.h"

#include <string>

namespace wincryptctl {

// What became of opening a sealed key.
struct OpenedKey {
    DWORD bits = 0;            // 0 when it didn't open
    std::string problem{};     // why it didn't, else empty
    bool hasSealingKey = true; // false when the key that it was sealed under isn't there
};

OpenedKey openStoredKey(wincrypt::Database const& database, std::string const& container,
                        wincrypt::StoredKey const& key);

// "exchange 2048 exportable", "signature (its sealing key isn't there)"
std::string textOf(wincrypt::StoredKey const& key, OpenedKey const& opened);
Json jsonOf(wincrypt::StoredKey const& key, OpenedKey const& opened);

} // namespace wincryptctl

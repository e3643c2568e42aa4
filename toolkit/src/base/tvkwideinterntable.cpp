#include <tvkcore/base/tvkwideinterntable.h>

#include <tvkcore/base/tvkprocessmutex.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace {

struct Table {
    TVKProcessMutex mutex;
    std::unordered_map<std::wstring_view, wchar_t*> byText;
    std::unordered_set<wchar_t const*> pointers;
};

// Never destroyed: what it gave out stays valid for the life of the process.
Table& table() {
    static auto* const s_table = new Table;
    return *s_table;
}

} // namespace

wchar_t* TVKWideInternTable::intern(wchar_t const* text) {
    std::wstring_view const key(text);
    std::lock_guard<TVKProcessMutex> const guard(table().mutex);
    auto const found = table().byText.find(key);
    if (found != table().byText.end()) {
        return found->second;
    }
    auto copy = std::make_unique<wchar_t[]>(key.size() + 1);
    key.copy(copy.get(), key.size());
    auto const place = table().pointers.insert(copy.get()).first;
    try {
        table().byText.emplace(std::wstring_view(copy.get(), key.size()), copy.get());
    } catch (...) {
        table().pointers.erase(place);
        throw;
    }
    return copy.release();
}

bool TVKWideInternTable::holds(wchar_t const* pointer) {
    std::lock_guard<TVKProcessMutex> const guard(table().mutex);
    return table().pointers.contains(pointer);
}

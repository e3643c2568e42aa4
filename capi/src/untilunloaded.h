#pragma once

#include <tvkcore/base/tvklibrarymanager.h>

#include <memory>
#include <new>

// A static object of the module that ends when the module is unloaded, and not when the process ends: threads
// that the process has left may still be in the module then.
template <typename Object>
class UntilUnloaded {
public:
    UntilUnloaded() { ::new (static_cast<void*>(storage_)) Object; }
    ~UntilUnloaded() {
        if (TVKLibraryManager::isUnloading()) {
            std::destroy_at(&get());
        }
    }
    UntilUnloaded(UntilUnloaded const&) = delete;
    UntilUnloaded& operator=(UntilUnloaded const&) = delete;

    Object& get() { return *std::launder(reinterpret_cast<Object*>(storage_)); }

private:
    alignas(Object) unsigned char storage_[sizeof(Object)];
};

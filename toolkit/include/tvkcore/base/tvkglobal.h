#pragma once

#include <tvkcore/base/tvkexport.h>

#include <mutex>

// Who deletes the elements of a container.
enum TVKOwnership { TVKOwnershipNone = 0, TVKOwnershipOwned = 1 };

// A lock for one holder at a time; not recursive.
class TVK_API TVKMutex {
public:
    TVKMutex() = default;
    ~TVKMutex() = default;
    TVKMutex(TVKMutex const&) = delete;
    TVKMutex& operator=(TVKMutex const&) = delete;

    void lock();
    void unlock();

private:
    std::mutex mutex_;
};

// The library's global object. A module keeps one, made before and destroyed after all its other static
// objects; while one exists the library's services (trace, library manager) are ready.
class TVK_API TVKCoreGlobal {
public:
    TVKCoreGlobal();
    ~TVKCoreGlobal();
    TVKCoreGlobal(TVKCoreGlobal const&) = delete;
    TVKCoreGlobal& operator=(TVKCoreGlobal const&) = delete;

    // Number of such objects that live in this process.
    static long getInstanceCount();
};

// Adds `delta` to `*target` as one atomic step and gives the value from before the addition.
TVK_API long tvk_atomic_swap(long* target, long delta);

// A new zero-terminated copy of `text`, released by the caller with operator delete; null for null.
// `reserved` is not used.
TVK_API char* tvk_strdup(char const* text, void* reserved);

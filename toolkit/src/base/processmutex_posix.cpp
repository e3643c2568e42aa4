#include <tvkcore/base/tvkprocessmutex.h>

#include <new>
#include <pthread.h>

// Never destroyed: modules that are still loaded at exit take their locks off it then.
struct TVKProcessMutexList {
    static constinit inline std::mutex mutex;
    static constinit inline TVKProcessMutex* first = nullptr;
    static constinit inline bool isPrepared = false;

    static void prepare() {
        if (!isPrepared && ::pthread_atfork(beforeFork, afterFork, afterFork) != 0) {
            throw std::bad_alloc();
        }
        isPrepared = true;
    }

    static TVKProcessMutex*& placeOf(TVKProcessMutex const* wanted) {
        TVKProcessMutex** place = &first;
        while (*place != wanted) {
            place = &(*place)->next_;
        }
        return *place;
    }

    // The platform prepares at its first call, which is later than the first lock's making, and what prepares
    // later goes first. So its calls have ended by now, and none that waits for a lock is waited for.
    static void beforeFork() {
        mutex.lock();
        for (TVKProcessMutex* each = first; each != nullptr; each = each->next_) {
            each->lock();
        }
    }

    static void afterFork() {
        for (TVKProcessMutex* each = first; each != nullptr; each = each->next_) {
            each->unlock();
        }
        mutex.unlock();
    }

    static void remove(TVKProcessMutex const& which) { placeOf(&which) = which.next_; }
};

TVKProcessMutex::TVKProcessMutex() {
    std::lock_guard<std::mutex> const guard(TVKProcessMutexList::mutex);
    TVKProcessMutexList::prepare();
    TVKProcessMutexList::placeOf(nullptr) = this;
}

TVKProcessMutex::~TVKProcessMutex() {
    std::lock_guard<std::mutex> const guard(TVKProcessMutexList::mutex);
    TVKProcessMutexList::remove(*this);
}

#pragma once

#include <tvkcore/base/tvkexport.h>

#include <mutex>

// A lock over state of the whole process. Where processes fork, the forking thread takes all of them first,
// in the order in which they were made, and lets go on both sides: so the state behind one is whole in the
// child, whatever other threads were doing. One that is taken while another is held has to be made after that
// one; and what is done under one must not wait for a call of the platform. Not recursive.
class TVK_API TVKProcessMutex {
public:
    // Throws std::bad_alloc.
    TVKProcessMutex();
    // Nobody holds it.
    ~TVKProcessMutex();
    TVKProcessMutex(TVKProcessMutex const&) = delete;
    TVKProcessMutex& operator=(TVKProcessMutex const&) = delete;

    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

private:
    friend struct TVKProcessMutexList;

    std::mutex mutex_;
    TVKProcessMutex* next_ = nullptr;
};

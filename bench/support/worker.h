#pragma once

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

namespace bench {

// A thread that carries out one task after the other, and sleeps in between.
class Worker {
public:
    Worker();

    // Ends when the task under way, if any, has ended.
    ~Worker();
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;

    // Starts a task, once the one before it was waited for. Its result is what the future gives, or what it
    // threw.
    std::future<double> start(std::function<double()> task);

private:
    void work();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::packaged_task<double()> next_;
    bool isEnding_ = false;
    std::thread thread_;
};

} // namespace bench

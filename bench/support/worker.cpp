#include "support/worker.h"

#include <utility>

namespace bench {

Worker::Worker() : thread_([this] { work(); }) {}

Worker::~Worker() {
    {
        std::lock_guard const lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

std::future<double> Worker::start(std::function<double()> task) {
    std::packaged_task<double()> packaged(std::move(task));
    std::future<double> result = packaged.get_future();
    {
        std::lock_guard const lock(mutex_);
        next_ = std::move(packaged);
    }
    changed_.notify_one();
    return result;
}

void Worker::work() {
    for (;;) {
        std::packaged_task<double()> task;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return isEnding_ || next_.valid(); });
            if (!next_.valid()) {
                return;
            }
            task = std::exchange(next_, {});
        }
        task();
    }
}

} // namespace bench

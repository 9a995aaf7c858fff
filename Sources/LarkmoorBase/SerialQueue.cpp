#include "LarkmoorBase/SerialQueue.h"

#include <future>
#include <system_error>
#include <utility>

#include "LarkmoorBase/ThreadWithoutSignals.h"

namespace larkmoor {

SerialQueue::SerialQueue(std::string label, std::chrono::milliseconds lingering)
    : label_(std::move(label)), lingering_(lingering) {}

SerialQueue::~SerialQueue() {
    std::thread last;
    {
        const std::lock_guard held{lock_};
        isEnding_ = true;
        last = std::move(thread_);
    }
    changed_.notify_all();
    if (last.joinable()) last.join();
    runHere();
}

void SerialQueue::add(std::function<void()> work) {
    const std::lock_guard held{lock_};
    work_.push_back(std::move(work));
    if (isRunning_) return changed_.notify_all();
    // The thread before has released the lock for the last time: joining it does not block.
    if (thread_.joinable()) thread_.join();
    try {
        thread_ = threadWithoutSignals([this] { run(lingering_); });
        isRunning_ = true;
    } catch (const std::system_error&) {
        isRunning_ = false;  // the system refused a thread: the next call tries again
    }
}

void SerialQueue::drain() {
    std::promise<void> reached;
    add([&reached] { reached.set_value(); });
    runHere();
    reached.get_future().wait();
}

/// Runs the queued work on the calling thread if the queue has none.
void SerialQueue::runHere() {
    {
        const std::lock_guard held{lock_};
        if (std::exchange(isRunning_, true)) return;
    }
    run(std::chrono::milliseconds{0});
}

void SerialQueue::run(std::chrono::milliseconds lingering) {
    std::unique_lock held{lock_};
    for (;;) {
        const bool hasWork =
            changed_.wait_for(held, lingering, [this] { return !work_.empty() || isEnding_; }) && !work_.empty();
        if (!hasWork) break;
        const auto work = std::move(work_.front());
        work_.pop_front();
        held.unlock();
        work();
        held.lock();
    }
    isRunning_ = false;
}

}  // namespace larkmoor

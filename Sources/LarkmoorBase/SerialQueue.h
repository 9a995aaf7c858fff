// Serial work queue: functions run one after the other, in the order of the calls, on a thread of the queue's own.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace larkmoor {

/// Any thread. The queue has a thread only while there is work, and for `lingering` after it. Destroying the queue
/// waits for what was queued. Where the system refuses a new thread, work waits for the next call.
class SerialQueue {
  public:
    explicit SerialQueue(std::string label, std::chrono::milliseconds lingering = std::chrono::seconds{5});
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Never fails; `work` does not throw.
    void add(std::function<void()> work);
    /// Returns when everything queued before the call is done.
    void drain();

    const std::string& label() const { return label_; }

  private:
    void run(std::chrono::milliseconds lingering);
    void runHere();

    const std::string label_;
    const std::chrono::milliseconds lingering_;
    std::mutex lock_;  // guards what follows
    std::condition_variable changed_;
    std::deque<std::function<void()>> work_;
    std::thread thread_;
    bool isRunning_ = false;
    bool isEnding_ = false;
};

}  // namespace larkmoor

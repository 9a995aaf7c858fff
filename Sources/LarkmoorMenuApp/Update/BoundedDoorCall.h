// One question to the daemon with a bound on the wait for its answer, so that a silent daemon cannot hold up an update.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorUpdate/Clock/UpdateCadence.h"

namespace larkmoor {

struct UpdateDoorDeadlines {
    std::chrono::milliseconds silence;  ///< the bound on one question

    static constexpr UpdateDoorDeadlines shipped() { return {.silence = UpdateCadence::doorSilence}; }
};

/// Main thread.
class DoorWaiting {
  public:
    virtual ~DoorWaiting() = default;

    /// Ends after the duration, or soon after a stop is requested.
    virtual Task<void> waitOut(std::chrono::milliseconds duration, std::stop_token answered) = 0;
};

/// On the steady clock: while the machine sleeps, the daemon cannot answer, and that is no silence of its own.
class DoorSleepWait final : public DoorWaiting {
  public:
    Task<void> waitOut(std::chrono::milliseconds duration, std::stop_token answered) override;
};

/// Answer and end of the wait both come on the main thread, so whichever comes first decides without a lock: the wait
/// ends by itself or because of the answer, and then the answer is there or is not.
namespace BoundedDoorCall {

template <class T>
struct Answer {
    T value;
    bool answered = false;
};

template <class T>
struct Question {
    std::optional<T> value{};
    std::stop_source answered{};
};

template <class T>
Task<void> put(std::shared_ptr<Question<T>> question, std::function<Task<T>()> call) {
    question->value = co_await call();
    question->answered.request_stop();
}

/// Asks once. `ifSilent` is the value if nothing comes within `silence`; what comes later is dropped, and a call that
/// never ends keeps its own task and nothing else. A call that throws is silent, and its exception is logged.
template <class T>
Task<Answer<T>> run(std::chrono::milliseconds silence, T ifSilent, std::shared_ptr<DoorWaiting> waiting,
                    std::function<Task<T>()> call) {
    const auto executor = co_await boost::asio::this_coro::executor;
    const auto question = std::make_shared<Question<T>>();
    spawn(executor.context(), std::weak_ptr{question},
          [question, call = std::move(call)](Question<T>&) { return put(question, call); });
    co_await waiting->waitOut(silence, question->answered.get_token());
    if (question->value) co_return Answer<T>{std::move(*question->value), true};
    co_return Answer<T>{std::move(ifSilent), false};
}

}  // namespace BoundedDoorCall

}  // namespace larkmoor

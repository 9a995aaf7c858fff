// A timerfd on the real-time clock.
#pragma once

#include <memory>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/WallClockTimer.h"

namespace larkmoor {

/// Fires on time: a timerfd knows no leeway. If the system has no timer left, that is written to the log and the timer
/// does not fire.
class TimerDescriptorSource final : public WallClockSource {
  public:
    /// `loop` must outlive it.
    explicit TimerDescriptorSource(MainLoop& loop);
    ~TimerDescriptorSource() override;

    Date now() const override { return std::chrono::system_clock::now(); }
    void schedule(Date date, Duration leeway, std::function<void()> fire) override;
    void cancel() override;

  private:
    struct Armed;

    MainLoop& loop_;
    std::shared_ptr<Armed> armed_;  ///< null if nothing is scheduled
};

}  // namespace larkmoor

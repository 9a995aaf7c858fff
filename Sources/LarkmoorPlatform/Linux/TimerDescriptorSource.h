// The real-time clock's timer as a descriptor of the system.
#pragma once

#include <memory>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/WallClockSource.h"

namespace larkmoor {

/// The system's timer has no leeway and ours is on time. A machine without timers left is told in the platform's log,
/// and what was scheduled does not come.
class TimerDescriptorSource final : public WallClockSource {
  public:
    /// `loop` outlives it.
    explicit TimerDescriptorSource(MainLoop& loop);
    ~TimerDescriptorSource() override;

    Date now() const override { return std::chrono::system_clock::now(); }
    void schedule(Date date, Duration leeway, std::function<void()> fire) override;
    void cancel() override;

  private:
    struct Armed;

    MainLoop& loop_;
    std::shared_ptr<Armed> armed_;  ///< what is scheduled, if anything is
};

}  // namespace larkmoor

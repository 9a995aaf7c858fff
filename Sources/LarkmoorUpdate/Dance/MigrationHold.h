// Lets a running migration hold an update exactly as a call does.
#pragma once

#include <memory>
#include <utility>

#include "LarkmoorUpdate/Meeting/MeetingReading.h"

namespace larkmoor {

/// Main thread.
class MigrationHold final : public MeetingReporting {
  public:
    explicit MigrationHold(std::shared_ptr<MeetingReporting> live) : live_(std::move(live)) {}

    /// While true, the reading is `live` without a question to anybody.
    void setRunning(bool running) { running_ = running; }
    bool isRunning() const { return running_; }

    Task<MeetingReading> meetingReading() override {
        if (running_) co_return MeetingReading::live;
        co_return co_await live_->meetingReading();
    }

  private:
    std::shared_ptr<MeetingReporting> live_;
    bool running_ = false;
};

}  // namespace larkmoor

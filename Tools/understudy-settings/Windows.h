// The windows that the settings application would have: opened and brought to the front as the menu asks, and noted.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "LarkmoorKit/FirstRun/WindowDoor.h"
#include "LarkmoorPlatform/DistributedNotifications.h"

namespace larkmoor::understudy {

class Windows {
  public:
    /// `notifications` outlives this; `support` is Application Support.
    Windows(DistributedNotifications& notifications, std::string support);

    void open(WindowDoor::Pane pane, bool front);
    /// Goes through the journey to its end: terms and recovery key are done, and its window closes.
    void finishJourney();
    /// Closes what is open; the menu is told of the journey's window.
    void close();

    /// What was asked, in order: "build onboarding", "open stats", ...
    const std::vector<std::string>& seen() const { return seen_; }

  private:
    void tellJourney(bool isVisible);

    DistributedNotifications& notifications_;
    std::string support_;
    std::vector<std::string> seen_;
    bool isJourneyLive_ = false;
    std::unique_ptr<DistributedNotifications::Token> door_;
};

}  // namespace larkmoor::understudy

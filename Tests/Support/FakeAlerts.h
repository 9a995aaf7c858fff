// A person who answers every alert in the same way.
#pragma once

#include <utility>
#include <vector>

#include "LarkmoorPlatform/Alerts.h"

namespace larkmoor::testing {

class FakeAlerts final : public Alerts {
  public:
    Task<std::optional<int>> show(Alert alert) override {
        shown.push_back(std::move(alert));
        co_return choice;
    }

    std::optional<int> choice;
    std::vector<Alert> shown;
};

}  // namespace larkmoor::testing

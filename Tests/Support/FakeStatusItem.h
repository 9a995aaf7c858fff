// A status item that keeps what it was given.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor::testing {

class FakeStatusItem : public StatusItem {
  public:
    struct Shown {
        StatusIcon icon;
        std::string label;
        bool operator==(const Shown&) const = default;
    };

    void setIcon(StatusIcon icon, std::string label) override { shown.push_back({icon, std::move(label)}); }
    void setMenu(std::shared_ptr<Menu> given) override { menu = std::move(given); }

    std::vector<Shown> shown;
    std::shared_ptr<Menu> menu;
};

}  // namespace larkmoor::testing

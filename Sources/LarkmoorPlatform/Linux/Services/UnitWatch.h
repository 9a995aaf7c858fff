// Whether this user's service manager (systemd --user) is about to have a unit running.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor {

/// Main thread; `bus` outlives it. Destroying it, also from inside `onAnswer`, ends the answers.
class UnitWatch {
  public:
    /// Whether the unit is starting, stopping, running or waiting for its restart; false for a unit at rest, and
    /// without a service manager. `onAnswer` is called after each `ask`, and again at each change of the unit.
    using OnAnswer = std::function<void(bool isComing)>;

    UnitWatch(SessionBus& bus, const std::string& unit, OnAnswer onAnswer);
    ~UnitWatch();

    void ask();

  private:
    struct Watching;

    std::shared_ptr<Watching> watching_;
};

}  // namespace larkmoor

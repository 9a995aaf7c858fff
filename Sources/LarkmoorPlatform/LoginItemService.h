// One thing that the system starts at login: this application, or an agent whose property list lies in its bundle.
#pragma once

#include <expected>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/LoginItemStatus.h"

namespace larkmoor {

/// Main thread. Errors are words for a log. What a call began and could not end, the next one ends.
class LoginItemService {
  public:
    virtual ~LoginItemService() = default;

    /// A service that cannot be asked knows of nothing.
    virtual Task<LoginItemStatus> status() = 0;
    /// From now on, and at every login. An agent starts at once if its list asks for that. Never overrules the person.
    virtual Task<std::expected<void, std::string>> registerItem() = 0;
    /// Stops an agent that runs.
    virtual Task<std::expected<void, std::string>> unregisterItem() = 0;
};

}  // namespace larkmoor

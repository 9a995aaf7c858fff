// One running copy of an application: whoever owns its name on the session bus. A second start activates the first.
#pragma once

#include <functional>
#include <string>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor {

/// Main thread; the bus outlives it. Answers org.freedesktop.Application (how a desktop activates an entry over D-Bus)
/// on the object that the name spells as a path.
class SingleInstance {
  public:
    struct Answers {
        /// The name is ours: this process is the application.
        std::function<void()> onOwned;
        /// Another process is; it was asked to activate itself, and this one may leave.
        std::function<void()> onOther;
        /// Somebody started the application again.
        std::function<void()> onActivated;
    };

    SingleInstance(SessionBus& bus, std::string name, Answers answers);
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

  private:
    static int activate(sd_bus_message* call, void* self, sd_bus_error* error);
    void activateOther();

    SessionBus& bus_;
    const std::string name_;
    const std::string path_;
    Answers answers_;
    BusSlot object_;
    BusSlot claim_;
    BusSlot question_;
};

}  // namespace larkmoor

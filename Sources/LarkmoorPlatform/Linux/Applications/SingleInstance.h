// Single instance of an application: the owner of its name on the session bus. A second start activates the first.
#pragma once

#include <functional>
#include <string>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor {

/// Main thread; the bus outlives it. Implements org.freedesktop.Application (how a desktop activates an entry over
/// D-Bus) on the object path that corresponds to the name.
class SingleInstance {
  public:
    struct Answers {
        /// We own the name: this process is the application.
        std::function<void()> onOwned;
        /// Another process owns it and was asked to activate itself; this one may exit.
        std::function<void()> onOther;
        /// Another process tried to start the application.
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
    BusSlot activation_;
};

}  // namespace larkmoor

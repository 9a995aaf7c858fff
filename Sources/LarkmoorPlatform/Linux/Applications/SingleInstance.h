// Single instance of an application: the owner of its name on the session bus. A second start activates the first.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor {

/// Main thread; the bus outlives it. Implements org.freedesktop.Application (how a desktop activates an entry over
/// D-Bus) on the object path that corresponds to the name.
class SingleInstance {
  public:
    /// A second start ends within this, whatever the first one does.
    static constexpr std::chrono::seconds activationTimeout{8};

    enum class Other {
        activated,  ///< runs, and has heard of this start
        silent,     ///< owns the name and answers nothing
    };

    /// Of the first three, exactly one is called, once.
    struct Answers {
        /// We own the name: this process is the application.
        std::function<void()> onOwned;
        /// Another process is the application.
        std::function<void(Other)> onOther;
        /// The bus refused, or the name's owner is no application.
        std::function<void(const BusError&)> onFailure;
        /// Another process tried to start the application.
        std::function<void()> onActivated;
    };

    SingleInstance(SessionBus& bus, std::string name, Answers answers);
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

  private:
    static int activate(sd_bus_message* call, void* self, sd_bus_error* error);
    void claim(std::optional<BusError> failure);
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

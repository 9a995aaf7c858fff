// One connection to the session bus, driven by the main loop. Nothing here blocks: connecting, matches and names go
// their way while the loop runs, and messages sent before the connection stands wait for it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/BusError.h"
#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "LarkmoorPlatform/Linux/Bus/BusReader.h"
#include "LarkmoorPlatform/Linux/Bus/BusSlot.h"
#include "LarkmoorPlatform/Linux/Bus/BusWriter.h"

namespace larkmoor {

/// Follows the owner of one name for as long as it lives.
struct [[nodiscard]] BusNameWatch {
    BusSlot changes;
    BusSlot question;
};

/// Main thread. Callbacks come from the loop, never from inside the function that they were given to; they may call
/// anything here, and may destroy the bus. They must not throw.
class SessionBus {
  public:
    using Reply = std::function<void(BusResult)>;
    /// What a call waits for its answer, unless it says otherwise: the bus library's own 25 s.
    static constexpr std::chrono::microseconds defaultTimeout{0};
    /// Waits as long as the peer lives.
    static constexpr std::chrono::microseconds noTimeout = std::chrono::microseconds::max();

    /// Begins to connect and returns at once. Without an address it is the session's own: $DBUS_SESSION_BUS_ADDRESS,
    /// otherwise $XDG_RUNTIME_DIR/bus. Each object is a connection of its own; `loop` outlives it.
    explicit SessionBus(MainLoop& loop, const std::optional<std::string>& address = std::nullopt);
    /// Closes. Callbacks are not called after that; a `Task` under way ends with an error.
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    /// Called once, when the connection could not be made or is gone; to be set before the loop goes on. By then each
    /// call under way had its error.
    void onLost(std::function<void(const BusError&)> handler);
    bool isLost() const;

    /// An empty message of each kind, to be filled by a `BusWriter`. Names and paths are the caller's own and valid.
    BusMessage methodCall(const std::string& destination, const std::string& path, const std::string& interface,
                          const std::string& member);
    BusMessage signal(const std::string& path, const std::string& interface, const std::string& member);

    /// Sends a signal, a reply, or a call that wants no answer; false if it is lost.
    bool send(const BusMessage& message);

    /// Sends the call; `reply` is called once with the answer, unless the slot is destroyed before.
    [[nodiscard]] BusSlot call(const BusMessage& message, Reply reply,
                               std::chrono::microseconds timeout = defaultTimeout);
    Task<BusResult> call(BusMessage message, std::chrono::microseconds timeout = defaultTimeout);

    /// Exports an interface; the table and `userdata` outlive the slot. A method's handler may keep
    /// `BusMessage::retaining(call)`, return 1 and send the answer later.
    [[nodiscard]] BusSlot addObject(const std::string& path, const std::string& interface, const sd_bus_vtable* table,
                                    void* userdata);
    /// Called for each message that the rule names; `BusMatch` writes rules. A rule that the bus refuses ends the
    /// connection.
    [[nodiscard]] BusSlot match(const std::string& rule, std::function<void(const BusMessage&)> handler);
    /// Sees every message that is no reply to a call of ours; true ends its way. Makes the bus send nothing more.
    [[nodiscard]] BusSlot filter(std::function<bool(const BusMessage&)> handler);

    /// Asks for the name without waiting in the queue; an owner that allows no replacement keeps it, and that is an
    /// error.
    [[nodiscard]] BusSlot requestName(const std::string& name,
                                      std::function<void(std::expected<void, BusError>)> handler);
    void releaseName(const std::string& name);
    /// `handler` gets the unique name of the present owner, empty for none, and then of each new one.
    BusNameWatch watchName(const std::string& name, std::function<void(const std::string& owner)> handler);

    /// Our own name, "" until the connection stands.
    std::string uniqueName() const;

    /// For what this class does not offer, functions that do not block alone; ask `pump` after each that sends.
    sd_bus* handle() const;
    /// Lets the bus do what it has to in the next turn of the loop. Many at once are one.
    void pump();

  private:
    std::shared_ptr<BusPump> pump_;
};

}  // namespace larkmoor

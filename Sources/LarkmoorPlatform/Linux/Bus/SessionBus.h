// A connection to the session bus, driven by the main loop. Nothing blocks: connecting, matches and name requests
// proceed while the loop runs, and messages sent before the connection is ready are queued.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "LarkmoorPlatform/Linux/Bus/BusValues.h"

namespace larkmoor {

/// Watches the owner of one name for as long as it lives.
struct [[nodiscard]] BusNameWatch {
    BusSlot changes;
    BusSlot question;
};

/// Main thread. Callbacks come from the loop, never from inside the function that registered them; they may call
/// anything here and may destroy the bus. They must not throw.
class SessionBus {
  public:
    using Reply = std::function<void(BusResult)>;
    /// The bus library's own time-out, 25 s.
    static constexpr std::chrono::microseconds defaultTimeout{0};
    /// Waits for as long as the peer lives.
    static constexpr std::chrono::microseconds noTimeout = std::chrono::microseconds::max();

    /// Starts to connect and returns at once. The default address is $DBUS_SESSION_BUS_ADDRESS, otherwise
    /// $XDG_RUNTIME_DIR/bus. Each object is a connection of its own; `loop` must outlive it.
    explicit SessionBus(MainLoop& loop, const std::optional<std::string>& address = std::nullopt);
    /// A program that listens on a socket of its own and speaks as on a bus: calls and matches lead to it alone.
    struct Peer {
        std::string socket;
    };
    SessionBus(MainLoop& loop, const Peer& peer);
    /// Closes. No callback follows; a pending `Task` ends with an error.
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    /// Called once, when connecting failed or the connection is lost, after every pending call got its error. To be set
    /// before the loop runs on.
    void onLost(std::function<void(const BusError&)> handler);
    bool isLost() const;
    /// Whether the connection ever stood; if it is lost and never did, there is no bus to be reached.
    bool wasReady() const;

    /// A message without values, to be filled by a `BusWriter`. Names and paths must be valid.
    BusMessage methodCall(const std::string& destination, const std::string& path, const std::string& interface,
                          const std::string& member);
    BusMessage signal(const std::string& path, const std::string& interface, const std::string& member);

    /// Sends a signal, a reply, or a call that expects no reply; false if it could not be sent.
    bool send(const BusMessage& message);

    /// Sends the call; `reply` is called once, unless the slot is destroyed before.
    [[nodiscard]] BusSlot call(const BusMessage& message, Reply reply,
                               std::chrono::microseconds timeout = defaultTimeout);
    Task<BusResult> call(BusMessage message, std::chrono::microseconds timeout = defaultTimeout);

    /// Exports an interface; the table and `userdata` must outlive the slot. A method's handler may keep
    /// `BusMessage::retaining(call)`, return 1 and reply later.
    [[nodiscard]] BusSlot addObject(const std::string& path, const std::string& interface, const sd_bus_vtable* table,
                                    void* userdata);
    /// Calls `handler` for each message that matches the rule (see `BusMatch`). A rule that the bus rejects ends the
    /// connection.
    [[nodiscard]] BusSlot match(const std::string& rule, std::function<void(const BusMessage&)> handler);
    /// Calls `handler` for every incoming message but replies to our calls; true stops further dispatch. Adds no match
    /// to the bus, so only messages that are sent to us anyway are seen.
    [[nodiscard]] BusSlot filter(std::function<bool(const BusMessage&)> handler);

    /// Requests the name without queueing for it; a name that another connection owns is the error
    /// `BusErrorName::nameTaken`.
    [[nodiscard]] BusSlot requestName(const std::string& name,
                                      std::function<void(std::expected<void, BusError>)> handler);
    void releaseName(const std::string& name);
    /// Calls `handler` with the unique name of the current owner, empty for none, and then at each change.
    BusNameWatch watchName(const std::string& name, std::function<void(const std::string& owner)> handler);

    /// Our unique name; empty until the connection is ready.
    std::string uniqueName() const;

    /// For non-blocking sd-bus functions that this class does not wrap; call `pump` after one that sends.
    sd_bus* handle() const;
    /// Processes the bus in the loop's next turn; repeated calls count once.
    void pump();

  private:
    std::shared_ptr<BusPump> pump_;
};

}  // namespace larkmoor

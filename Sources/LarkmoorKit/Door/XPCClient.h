// The client of the door: the one implementation of LarkmoorClient that crosses a process boundary.
//
// It survives the daemon's restart without its callers noticing, tells an absent daemon from one that refuses this
// process and from a silent one, and never throws: every failure is an answer with words for a person, and
// `lastDoorFault` keeps the reason.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "LarkmoorKit/Door/ClientLineage.h"
#include "LarkmoorKit/Door/DoorFault.h"
#include "LarkmoorKit/Door/DoorHistory.h"
#include "LarkmoorKit/Door/DoorRedial.h"
#include "LarkmoorPlatform/MessageConnection.h"
#include "LarkmoorWire/Catalogue/GatewayEvent.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// Requests, subscription and their callbacks belong to the main loop; `lastDoorFault` and `knockCount` are for any
/// thread. Lives in a shared pointer, which every request under way holds.
class XPCClient final : public LarkmoorClient, public std::enable_shared_from_this<XPCClient> {
  public:
    using OnEvent = std::function<void(const GatewayEvent&)>;

    /// What the composition root hands in. None is called with the lock held.
    struct Seams {
        Dial dial;
        /// The dial of the request connection, where it is to be another than `dial`.
        Dial makeConnection{};
        /// Called once in the life of the client, at the first reply of another contract.
        std::function<void()> onWireMismatch{};
        /// Whether the service's name is known to the system.
        std::function<Task<bool>(std::string serviceName)> serviceRegistered;
        std::function<ClientLineage()> clientLineage;
    };

    /// Makes the first connection, which costs nothing until a request goes out.
    static std::shared_ptr<XPCClient> make(std::string machServiceName, Seams seams,
                                           DoorRedial redial = DoorRedial::standard);
    ~XPCClient() override;

    Task<GatewayResponse> send(GatewayRequest request) override;
    Task<TimedResponse> sendTimed(GatewayRequest request) override;

    /// The last diagnosis; nothing after a good answer.
    std::optional<DoorFault> lastDoorFault() const;
    /// Knocks sent so far, for diagnosis.
    int knockCount() const;

    /// Opens the event connection; `onEvent` is called on the main loop for each event from now on.
    void subscribe(OnEvent onEvent);
    /// Opens the event connection again if it is wanted and gone. Cheap; called on every tick.
    void ensureSubscribed();

    /// Lets go of both connections: a request under way is never answered. For the end of the process, when a daemon
    /// that hangs would otherwise keep the request, and the request this client.
    void close();

  private:
    /// What the reply dictionary said.
    struct Reply {
        std::optional<Bytes> payload;
        std::optional<std::int64_t> wire;
        std::optional<std::chrono::milliseconds> served;
    };
    struct TransportError {};
    struct Silence {};
    using Outcome = std::variant<Reply, TransportError, Silence>;

    struct Answered {
        GatewayResponse response;
        std::optional<std::chrono::milliseconds> daemon;
        std::optional<std::int64_t> wire;
    };
    using Attempt = std::variant<Answered, TransportError, Silence>;

    using Connection = std::shared_ptr<MessageConnection>;
    using Deadline = std::optional<std::chrono::nanoseconds>;

    XPCClient(std::string machServiceName, Seams seams, DoorRedial redial);

    Connection openConnection() const;
    Connection currentConnection() const;
    void replace(const Connection& failed);
    Task<Attempt> roundTrip(Bytes payload, Connection on, Deadline deadline);
    static Task<Outcome> reply(MessageDictionary message, Connection on, Deadline deadline);
    Task<void> knock(Connection on);
    TimedResponse finish(Answered answered);
    Task<TimedResponse> diagnose(Attempt failed);
    void announceSkew();
    void setFault(std::optional<DoorFault> fault);
    void openSubscription();
    void received(const MessageConnection* on, const MessageConnection::Incoming& incoming);

    const std::string machServiceName_;
    const Seams seams_;
    const DoorRedial redial_;
    DoorHistory history_;

    mutable std::mutex lock_;  // guards what follows
    Connection connection_;
    Connection subConnection_;
    OnEvent onEvent_;
    std::optional<DoorFault> fault_;
    bool skewAnnounced_ = false;
    int knocks_ = 0;
};

}  // namespace larkmoor

// Client of the daemon over a MessageConnection: the one LarkmoorClient that talks to another process.
//
// It survives the daemon's restart without its callers noticing, and tells an absent daemon from one that refuses this
// process and from a silent one. It never throws: every failure is an answer with words for a person, and
// `lastDoorFault` keeps the reason.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "LarkmoorKit/Door/ClientLineage.h"
#include "LarkmoorKit/Door/DoorFault.h"
#include "LarkmoorPlatform/MessageConnection.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// A flag that only the first caller can take. Any thread.
class OneShot {
  public:
    /// True for the first caller, false for all others.
    bool take() {
        const std::lock_guard held{lock_};
        return !std::exchange(taken_, true);
    }

  private:
    std::mutex lock_;
    bool taken_ = false;
};

/// Whether a request was ever answered. Any thread.
class DoorHistory {
  public:
    bool connected() const {
        const std::lock_guard held{lock_};
        return connected_;
    }
    /// At the first answered request; it is never unset.
    void markConnected() {
        const std::lock_guard held{lock_};
        connected_ = true;
    }

  private:
    mutable std::mutex lock_;
    bool connected_ = false;
};

/// Whether the event connection has to be opened again.
namespace SubscriptionGate {

constexpr bool shouldReopen(bool wantEvents, bool hasLiveConnection) { return wantEvents && !hasLiveConnection; }

}  // namespace SubscriptionGate

/// Requests, subscription and their callbacks belong to the main thread; `lastDoorFault` and `knockCount` are for any.
/// Lives in a shared pointer, of which every request under way holds a copy.
class XPCClient final : public LarkmoorClient, public std::enable_shared_from_this<XPCClient> {
  public:
    using OnEvent = std::function<void(const GatewayEvent&)>;

    /// Given by the composition root; main thread. None is called with the lock held. A look-up or a lineage that
    /// throws counts as "no" and "foreign".
    struct Seams {
        Dial dial;
        /// Dials the request connection in place of `dial`, if it is set.
        Dial makeConnection{};
        /// Called once in the life of the client, at the first reply of another contract.
        std::function<void()> onWireMismatch{};
        /// Whether the service's name is known to the system.
        std::function<Task<bool>(std::string serviceName)> serviceRegistered;
        std::function<Task<ClientLineage>()> clientLineage;
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
    /// Opens the event connection again if it is wanted and gone. Cheap enough for every tick of the refresh.
    void ensureSubscribed();

    /// Cancels both connections: a request under way is never answered. For the end of the process, since a request to
    /// a daemon that hangs would hold this client for ever.
    void close();

  private:
    struct Reply {
        std::optional<Bytes> payload;
        std::optional<std::int64_t> wire;
        std::optional<std::chrono::milliseconds> served;
    };
    using TransportError = ConnectionFailure;
    struct Silence {};
    using Outcome = std::variant<Reply, TransportError, Silence>;  ///< of one message

    struct Answered {
        GatewayResponse response;
        std::optional<std::chrono::milliseconds> daemon;
        std::optional<std::int64_t> wire;
    };
    using Attempt = std::variant<Answered, TransportError, Silence>;  ///< one request and what came of it

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
    static bool isUnsendable(const Attempt& attempt);
    Task<bool> isRegistered() const;
    Task<ClientLineage> lineage() const;
    void announceSkew();
    void setFault(std::optional<DoorFault> fault);
    void openSubscription();
    void dispatchEvent(const MessageConnection* on, const MessageConnection::Incoming& incoming);

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

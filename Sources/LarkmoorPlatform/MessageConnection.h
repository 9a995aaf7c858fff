// A channel to a named service of this machine: requests with their replies, one-way messages, and pushed events.
#pragma once

#include <expected>
#include <functional>
#include <string>

#include "LarkmoorPlatform/MessageDictionary.h"

namespace larkmoor {

/// The channel failed: nobody has the name, its owner went away or refuses us, or the transport broke. `reason` is for
/// a log.
struct [[nodiscard]] ConnectionFailure {
    std::string reason;

    bool operator==(const ConnectionFailure&) const = default;
};

/// Main thread; every callback comes from the main loop, never from inside a function of this class. A connection
/// belongs to whoever owned the name at its first message. Once it fails it has failed for good, and all that waits is
/// told at once: a later owner needs a new connection. Destroying it is cancelling it.
class MessageConnection {
  public:
    using Incoming = std::expected<MessageDictionary, ConnectionFailure>;
    using Handler = std::function<void(Incoming)>;

    virtual ~MessageConnection() = default;

    /// Gets each pushed event, and the failure once. Set before `resume`.
    virtual void setEventHandler(Handler handler) = 0;
    /// Lets messages out; those sent before wait for it.
    virtual void resume() = 0;
    /// Ends the channel. No callback comes after it, but for replies whose failure is being told in this very turn.
    virtual void cancel() = 0;

    /// `handler` is called once, however long the peer takes. A peer that died may have carried the request out.
    virtual void sendWithReply(MessageDictionary message, Handler handler) = 0;
    /// The one message that no reply is awaited for; a failure shows in the event handler.
    virtual void send(MessageDictionary message) = 0;
};

}  // namespace larkmoor

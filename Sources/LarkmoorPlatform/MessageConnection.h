// A connection to a named service of this machine: requests with replies, one-way messages, and pushed events.
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor {

/// Descriptors are shared so that a message can be copied; the last copy closes them.
using MessageDescriptors = std::vector<std::shared_ptr<const FileDescriptor>>;
using MessageValue = std::variant<Bytes, std::uint64_t, bool, MessageDescriptors>;

/// The content of one message, independent of the transport.
struct MessageDictionary {
    std::map<std::string, MessageValue, std::less<>> values;

    /// The value under the key if it has this type; valid until the dictionary changes.
    template <class T>
    const T* find(std::string_view key) const {
        const auto found = values.find(key);
        return found == values.end() ? nullptr : std::get_if<T>(&found->second);
    }

    void set(std::string_view key, MessageValue value) { values.insert_or_assign(std::string{key}, std::move(value)); }
};

/// Why no reply came. `reason` is for a log.
struct [[nodiscard]] ConnectionFailure {
    enum class Kind {
        lost,          ///< the peer is gone or refuses us, or the transport broke; final, and told to all that wait
        unowned,       ///< nobody owns the name, or came to own it in time; of this message alone
        unsendable,    ///< the transport cannot carry the message; of this message alone
        unanswerable,  ///< the transport cannot carry the peer's reply; of this message alone
    };
    std::string reason;
    Kind kind = Kind::lost;

    bool operator==(const ConnectionFailure&) const = default;
};

/// Main thread; callbacks come from the main loop, never from inside a member function. A connection is bound to the
/// owner of the name at its first message; while nobody owns the name, a message waits for at most `maxWaitForOwner`,
/// and only if an owner is about to come. Once it is lost it stays so; a later owner needs a new connection. Destroying
/// it cancels it.
class MessageConnection {
  public:
    using Incoming = std::expected<MessageDictionary, ConnectionFailure>;
    using Handler = std::function<void(Incoming)>;

    static constexpr std::chrono::seconds maxWaitForOwner{3};

    virtual ~MessageConnection() = default;

    /// Receives each pushed event, the failure of each one-way message, and once that the connection is lost. Set
    /// before `resume`.
    virtual void setEventHandler(Handler handler) = 0;
    /// Starts sending; messages sent before are queued until then.
    virtual void resume() = 0;
    /// Closes the connection. No callback follows, except for replies whose failure is being reported in this very
    /// turn of the loop.
    virtual void cancel() = 0;

    /// `handler` is called once, however long the peer takes. A peer that died may have executed the request.
    virtual void sendWithReply(MessageDictionary message, Handler handler) = 0;
    /// Sends a message that has no reply; a failure goes to the event handler.
    virtual void send(MessageDictionary message) = 0;
};

/// Makes a suspended connection to the named service. It opens nothing until its first message.
using Dial = std::function<std::shared_ptr<MessageConnection>(const std::string& serviceName)>;

}  // namespace larkmoor

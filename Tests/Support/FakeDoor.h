// A door without a bus: its connections note what is sent, and answer, fail or stay silent as the test says.
#pragma once

#include <boost/asio/post.hpp>

#include "LarkmoorBase/Task.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorPlatform/MessageConnection.h"
#include "LarkmoorWire/Codec/Messages.h"

namespace larkmoor::testing {

/// Keeps the promises of the port as the bus's adapter keeps them: every callback comes from the loop; a connection
/// meets its peer at its first message, and before that no peer's end concerns it; a loss is for good and told to all
/// that wait at once; what meets no owner or cannot be carried fails alone; nothing comes after a cancel.
class FakeDoor {
  public:
    using Incoming = MessageConnection::Incoming;

    struct Sent {
        std::size_t connection = 0;  ///< counted from 0 in the order of the dials
        MessageDictionary message;
    };
    /// What becomes of a request; nothing is silence, until `answer`.
    using Behaviour = std::function<std::optional<Incoming>(const Sent&)>;

    explicit FakeDoor(MainLoop& loop) : book_(std::make_shared<Book>(loop)) {}
    FakeDoor(const FakeDoor&) = delete;
    FakeDoor& operator=(const FakeDoor&) = delete;
    ~FakeDoor() {
        // A request that waits holds its client, and so its connection.
        for (const auto& connection : book_->connections) {
            if (const auto alive = connection.lock()) alive->cancel();
        }
    }

    Dial dial() {
        return [book = book_](const std::string& service) {
            if (book->onDial) book->onDial();
            auto connection = std::make_shared<Connection>(book, book->connections.size(), service);
            book->connections.push_back(connection);
            return connection;
        };
    }

    void onMessage(Behaviour behaviour) { book_->behaviour = std::move(behaviour); }
    void onDial(std::function<void()> function) { book_->onDial = std::move(function); }

    /// All that left, in order, whether it met an owner or not.
    const std::vector<Sent>& sent() const { return book_->sent; }
    std::size_t dialled() const { return book_->connections.size(); }
    /// Connections that are neither cancelled nor gone; one that failed counts.
    std::size_t kept() const {
        return static_cast<std::size_t>(std::ranges::count_if(book_->connections, [](const auto& connection) {
            const auto alive = connection.lock();
            return alive && !alive->isCancelled();
        }));
    }
    /// Answers the request `sent()[index]`, from the loop's next turn.
    void answer(std::size_t index, Incoming incoming) {
        if (const auto alive = find(book_->sent.at(index).connection)) alive->settleLater(index, std::move(incoming));
    }
    /// The peer of the connection goes away.
    void fail(std::size_t connection) {
        if (const auto alive = find(connection)) alive->failLater();
    }
    void push(std::size_t connection, MessageDictionary event) {
        if (const auto alive = find(connection)) alive->push(std::move(event));
    }

  private:
    class Connection;
    struct Book {
        explicit Book(MainLoop& mainLoop) : loop(mainLoop) {}
        MainLoop& loop;
        Behaviour behaviour;
        std::function<void()> onDial;
        std::vector<Sent> sent;
        std::vector<std::weak_ptr<Connection>> connections;
    };

    class Connection final : public MessageConnection, public std::enable_shared_from_this<Connection> {
      public:
        Connection(std::shared_ptr<Book> book, std::size_t number, std::string service)
            : book_(std::move(book)), number_(number), service_(std::move(service)) {}

        bool isCancelled() const { return state_ == State::cancelled; }

        void setEventHandler(Handler handler) override { onEvent_ = std::move(handler); }
        void resume() override {
            if (state_ != State::suspended) return;
            state_ = State::idle;
            for (auto& [message, handler] : std::exchange(queue_, {})) submit(std::move(message), std::move(handler));
        }
        void cancel() override {
            state_ = State::cancelled;
            // Destroying the handlers may release the last reference to this connection.
            const auto self = weak_from_this().lock();
            const auto waiting = std::exchange(waiting_, {});
            const auto queue = std::exchange(queue_, {});
            const auto onEvent = std::exchange(onEvent_, nullptr);
        }
        void sendWithReply(MessageDictionary message, Handler handler) override {
            submit(std::move(message), std::move(handler));
        }
        void send(MessageDictionary message) override { submit(std::move(message), nullptr); }

        void settleLater(std::size_t index, Incoming incoming) {
            later([index, incoming = std::move(incoming)](Connection& self) {
                if (!incoming && incoming.error().kind == ConnectionFailure::Kind::lost) return self.fail();
                const auto found = self.waiting_.extract(index);
                if (!found && incoming) return;
                if (const Handler handler = found ? found.mapped() : self.onEvent_) handler(incoming);
            });
        }
        void failLater() {
            later([](Connection& self) { self.fail(); });
        }
        void push(MessageDictionary event) {
            later([event = std::move(event)](Connection& self) {
                const Handler handler = self.onEvent_;
                if (self.state_ == State::bound && handler) handler(event);
            });
        }

      private:
        enum class State { suspended, idle, bound, failed, cancelled };

        /// The bus's limits: bytes and keys of one message, and descriptors.
        static bool isCarried(const MessageDictionary& message) {
            std::size_t bytes = 0, descriptors = 0;
            for (const auto& [key, value] : message.values) {
                bytes += key.size();
                if (const auto* data = std::get_if<Bytes>(&value)) bytes += data->size();
                if (const auto* list = std::get_if<MessageDescriptors>(&value)) descriptors += list->size();
            }
            return bytes <= (64U << 20U) - (64U << 10U) && message.values.size() <= 32 && descriptors <= 16;
        }

        void later(std::function<void(Connection&)> function) {
            boost::asio::post(book_->loop, [weak = weak_from_this(), function = std::move(function)] {
                const auto self = weak.lock();
                if (self && self->state_ != State::cancelled) function(*self);
            });
        }
        void submit(MessageDictionary message, Handler handler) {
            if (state_ == State::cancelled) return;
            if (state_ == State::suspended) return queue_.emplace_back(std::move(message), std::move(handler)), void();
            if (state_ == State::failed) return refuse(std::move(handler), {"the peer is gone"});
            if (!isCarried(message))
                return refuse(handler ? handler : onEvent_, {"too much", ConnectionFailure::Kind::unsendable});
            const std::size_t index = book_->sent.size();
            book_->sent.push_back({.connection = number_, .message = std::move(message)});
            if (handler) waiting_.emplace(index, std::move(handler));
            const Sent sent = book_->sent.back();
            auto incoming = book_->behaviour ? book_->behaviour(sent) : std::nullopt;
            const bool isUnowned = incoming && !*incoming && incoming->error().kind == ConnectionFailure::Kind::unowned;
            if (!isUnowned) state_ = State::bound;
            if (incoming) settleLater(index, *std::move(incoming));
        }
        void refuse(Handler handler, ConnectionFailure failure) {
            if (!handler) return;
            later([handler = std::move(handler), failure](Connection&) { handler(std::unexpected(failure)); });
        }
        void fail() {
            if (state_ != State::bound) return;
            state_ = State::failed;
            const Incoming gone = std::unexpected(ConnectionFailure{"the peer is gone"});
            for (const auto& [index, handler] : std::exchange(waiting_, {})) handler(gone);
            if (onEvent_) std::exchange(onEvent_, nullptr)(gone);
        }

        const std::shared_ptr<Book> book_;
        const std::size_t number_;
        const std::string service_;
        State state_ = State::suspended;
        Handler onEvent_;
        std::vector<std::pair<MessageDictionary, Handler>> queue_;
        std::map<std::size_t, Handler> waiting_;
    };

    std::shared_ptr<Connection> find(std::size_t number) const { return book_->connections.at(number).lock(); }

    std::shared_ptr<Book> book_;
};

/// What the daemon sends back.
inline MessageDictionary replyOf(const GatewayResponse& response, std::optional<std::int64_t> wire = 1) {
    MessageDictionary reply;
    XPCWire::set(encode(response).value(), XPCEndpoint::payloadKey, reply);
    if (wire) XPCWire::setWire(*wire, reply);
    return reply;
}

/// A reply whose payload is whatever the text is.
inline MessageDictionary replyOf(std::string_view document) {
    MessageDictionary reply;
    XPCWire::set(asBytes(document), XPCEndpoint::payloadKey, reply);
    return reply;
}

inline MessageDictionary eventOf(std::string_view document) {
    MessageDictionary event;
    XPCWire::set(asBytes(document), XPCEndpoint::eventKey, event);
    return event;
}

inline FakeDoor::Incoming broken(ConnectionFailure::Kind kind = ConnectionFailure::Kind::lost) {
    return std::unexpected(ConnectionFailure{"broken", kind});
}

/// The request in a message; nothing for a knock or a subscription.
inline std::optional<GatewayRequest> requestIn(const MessageDictionary& message) {
    const auto payload = XPCWire::data(XPCEndpoint::payloadKey, message);
    return payload ? std::optional{decode<GatewayRequest>(*payload).value()} : std::nullopt;
}

inline bool isKnock(const MessageDictionary& message) {
    return message.values.size() == 1 && message.find<std::uint64_t>(XPCEndpoint::wireKey) != nullptr;
}

}  // namespace larkmoor::testing

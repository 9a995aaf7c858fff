#include "message-listener/MessageListener.h"

#include <map>
#include <utility>

#include "LarkmoorPlatform/Linux/Messaging/MessageServiceCoding.h"

namespace larkmoor {

namespace {

class BusSubscriber final : public MessageSubscriber {
  public:
    BusSubscriber(SessionBus& bus, std::string name) : bus_(&bus), name_(std::move(name)) {}

    bool push(const MessageDictionary& event) override {
        if (bus_ == nullptr) return false;
        using namespace MessageServiceNames;
        const BusMessage signal = bus_->signal(objectPath, interface, MessageServiceNames::event);
        if (!signal || sd_bus_message_set_destination(signal.get(), name_.c_str()) < 0) return false;
        return MessageServiceCoding::write(event, signal) && bus_->send(signal);
    }

    void end() { bus_ = nullptr; }

    /// Reports that the client has left the bus.
    BusNameWatch watch;

  private:
    SessionBus* bus_;
    std::string name_;
};

}  // namespace

/// The state of one service. A `Respond` may outlive it and holds it weakly.
struct MessageListener::Serving : std::enable_shared_from_this<Serving> {
    Serving(SessionBus& sessionBus, Service handlers) : bus(sessionBus), service(std::move(handlers)) {}
    ~Serving() {
        for (const auto& [name, subscriber] : subscribers) subscriber->end();
    }

    static int onRequest(sd_bus_message* message, void* serving, sd_bus_error*) noexcept {
        static_cast<Serving*>(serving)->handleRequest(BusMessage::retaining(message));
        return 1;
    }

    static int onSubscribe(sd_bus_message* message, void* serving, sd_bus_error*) noexcept {
        static_cast<Serving*>(serving)->handleSubscription(BusMessage::retaining(message));
        return 1;
    }

    void handleRequest(const BusMessage& call) {
        service.onRequest(MessageServiceCoding::read(call),
                          [self = weak_from_this(), call](std::expected<MessageDictionary, MessageRefusal> response) {
                              if (const auto alive = self.lock()) alive->respond(call, std::move(response));
                          });
    }

    void respond(const BusMessage& call, std::expected<MessageDictionary, MessageRefusal> response) {
        if (!response) {
            bus.send(BusMessage::methodError(
                call, {.name = std::string{BusErrorName::accessDenied}, .message = "this process is not served"}));
            return;
        }
        const BusMessage reply = BusMessage::methodReturn(call);
        if (MessageServiceCoding::write(*response, reply)) {
            bus.send(reply);
            return;
        }
        bus.send(BusMessage::methodError(
            call, {.name = std::string{BusErrorName::limitsExceeded}, .message = "the bus cannot carry the reply"}));
    }

    void handleSubscription(const BusMessage& call) {
        const std::string name = call.sender();
        auto& known = subscribers[name];
        if (!known) {
            known = std::make_shared<BusSubscriber>(bus, name);
            known->watch = bus.watchName(name, [self = weak_from_this(), name](const std::string& owner) {
                if (const auto alive = self.lock(); alive && owner.empty()) alive->forget(name);
            });
        }
        service.onSubscribe(MessageServiceCoding::read(call), std::shared_ptr<MessageSubscriber>{known});
    }

    void forget(const std::string& name) {
        const auto found = subscribers.extract(name);
        if (found) found.mapped()->end();
    }

    SessionBus& bus;
    Service service;
    std::map<std::string, std::shared_ptr<BusSubscriber>> subscribers;
    BusSlot exported;
    BusSlot claim;
};

MessageListener::MessageListener(SessionBus& bus, std::string serviceName)
    : bus_(bus), serviceName_(std::move(serviceName)) {}

MessageListener::~MessageListener() {
    if (serving_) bus_.releaseName(serviceName_);
}

void MessageListener::listen(Service service) {
    using namespace MessageServiceNames;
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD(request, MessageServiceCoding::signature, MessageServiceCoding::signature, &Serving::onRequest,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD(subscribe, MessageServiceCoding::signature, "", &Serving::onSubscribe,
                      SD_BUS_VTABLE_UNPRIVILEGED | SD_BUS_VTABLE_METHOD_NO_REPLY),
        SD_BUS_SIGNAL(event, MessageServiceCoding::signature, 0),
        SD_BUS_VTABLE_END,
    };
    serving_ = std::make_shared<Serving>(bus_, std::move(service));
    const auto fail = [self = std::weak_ptr{serving_}](const BusError& error) {
        if (const auto alive = self.lock(); alive && alive->service.onFailure)
            std::exchange(alive->service.onFailure, nullptr)(ConnectionFailure{error.description()});
    };
    bus_.onLost(fail);
    // The object before the name, since the first request may come as soon as we own the name.
    serving_->exported = bus_.addObject(objectPath, interface, table, serving_.get());
    serving_->claim = bus_.requestName(
        serviceName_, [fail, self = std::weak_ptr{serving_}](const std::expected<void, BusError>& granted) {
            if (!granted) return fail(granted.error());
            if (const auto alive = self.lock(); alive && alive->service.onListening) alive->service.onListening();
        });
}

}  // namespace larkmoor

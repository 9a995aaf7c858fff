#include "Stage.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorWire/Codec/Messages.h"
#include "LarkmoorWire/Identity/WireContract.h"
#include "Orders.h"

namespace larkmoor::understudy {

namespace {

constexpr std::size_t mostLogged = 10000;

const sd_bus_vtable* orderTable(sd_bus_message_handler_t obey) {
    static const std::vector<sd_bus_vtable> table = [&] {
        std::vector<sd_bus_vtable> rows;
        rows.push_back(SD_BUS_VTABLE_START(0));
        for (const Order& order : allOrders())
            rows.push_back(SD_BUS_METHOD(order.name, order.takes, order.gives, obey, SD_BUS_VTABLE_UNPRIVILEGED));
        rows.push_back(SD_BUS_VTABLE_END);
        return rows;
    }();
    return table.data();
}

/// As many pipes as there are legs, each with the key written once and its writing end closed.
MessageDescriptors leaseKeys(const std::string& key, Int legs) {
    MessageDescriptors leased;
    for (Int leg = 0; leg < std::min<Int>(legs, 16); ++leg) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) break;
        const FileDescriptor writing{ends[1]};
        leased.push_back(std::make_shared<FileDescriptor>(ends[0]));
        static_cast<void>(Files::writeAll(writing.get(), asBytes(key), "a pipe"));
    }
    return leased;
}

void putPayload(MessageDictionary& reply, const GatewayResponse& response) {
    if (const auto document = encode(response)) XPCWire::set(*document, XPCEndpoint::payloadKey, reply);
}

}  // namespace

Stage::Stage(MainLoop& loop, Options options, Part part, std::function<void(int)> onEnd)
    : loop_(loop),
      options_(std::move(options)),
      part_(std::move(part)),
      onEnd_(std::move(onEnd)),
      bus_(loop),
      listener_(bus_, options_.serviceName) {}

void Stage::open() {
    orders_ = bus_.addObject(objectPath, interface, orderTable(&Stage::obey), this);
    listener_.listen({.onRequest = [this](const MessageDictionary& request,
                                          MessageListener::Respond respond) { take(request, std::move(respond)); },
                      .onSubscribe =
                          [this](const MessageDictionary&, std::shared_ptr<MessageSubscriber> subscriber) {
                              if (std::ranges::find(subscribers_, subscriber) == subscribers_.end())
                                  subscribers_.push_back(std::move(subscriber));
                          },
                      .onListening = [this] { fmt::print("serving {}\n", options_.serviceName), std::fflush(stdout); },
                      .onFailure =
                          [this](const ConnectionFailure& failure) {
                              fmt::print(stderr, "{}\n", failure.reason);
                              onEnd_(1);
                          }});
}

void Stage::take(const MessageDictionary& request, MessageListener::Respond respond) {
    const auto payload = XPCWire::data(XPCEndpoint::payloadKey, request);
    if (payload) note(std::string{asText(*payload)});
    if (part_.refuses) return respond(std::unexpected(MessageRefusal{}));
    if (part_.isSilent) return;
    MessageDictionary reply;
    if (part_.wire) XPCWire::setWire(*part_.wire, reply);
    if (part_.served) XPCWire::setServed(*part_.served, reply);
    // A knock asks for nothing but the number of the contract.
    if (!payload) return respondLater(std::move(respond), std::move(reply));
    if (part_.rawReply) {
        XPCWire::set(*part_.rawReply, XPCEndpoint::payloadKey, reply);
        return respondLater(std::move(respond), std::move(reply));
    }
    const auto asked = decode<GatewayRequest>(*payload);
    if (asked) return play(*asked, std::move(reply), std::move(respond));
    putPayload(reply, GatewayResponse::Failure{"bad request: " + asked.error().description()});
    respondLater(std::move(respond), std::move(reply));
}

void Stage::play(const GatewayRequest& request, MessageDictionary reply, MessageListener::Respond respond) {
    const Part::Answer answer = part_.answer(request, std::chrono::system_clock::now());
    putPayload(reply, answer.response);
    if (answer.keyLegs > 0) reply.set(StoreKeyWire::descriptorsKey, leaseKeys(part_.storeKey, answer.keyLegs));
    if (!answer.isTheLast) return respondLater(std::move(respond), std::move(reply));
    respond(std::move(reply));
    leave();
}

void Stage::respondLater(MessageListener::Respond respond, MessageDictionary reply) {
    if (part_.delay.count() <= 0) return respond(std::move(reply));
    auto timer = std::make_shared<boost::asio::steady_timer>(loop_, part_.delay);
    timer->async_wait(
        [timer, respond = std::move(respond), reply = std::move(reply)](boost::system::error_code failed) {
            if (!failed) respond(reply);
        });
}

void Stage::note(std::string line) {
    if (log_.size() == mostLogged) log_.pop_front();
    log_.push_back(std::move(line));
}

void Stage::push(BytesView event) {
    MessageDictionary message;
    XPCWire::set(event, XPCEndpoint::eventKey, message);
    std::erase_if(subscribers_, [&](const auto& subscriber) { return !subscriber->push(message); });
}

void Stage::pushFront(FrontRecording front) {
    part_.front = front;
    if (const auto document = encode(GatewayEvent{GatewayEvent::FrontState{front}})) push(*document);
}

void Stage::leave() {
    if (options_.sentinel) options_.sentinel->set();
    // The last reply has to be on its way. Blocking is no harm to a process that is done.
    sd_bus_flush(bus_.handle());
    onEnd_(0);
}

int Stage::obey(sd_bus_message* message, void* stage, sd_bus_error*) noexcept {
    auto& self = *static_cast<Stage*>(stage);
    const BusMessage call = BusMessage::retaining(message);
    const BusMessage reply = BusMessage::methodReturn(call);
    const std::string_view name = sd_bus_message_get_member(message);
    for (const Order& order : allOrders()) {
        if (order.name != name) continue;
        BusReader reader{call};
        BusWriter writer{reply};
        const auto complaint = order.obey(self, reader, writer);
        self.bus_.send(complaint ? BusMessage::methodError(
                                       call, {.name = std::string{BusErrorName::failed}, .message = *complaint})
                                 : reply);
    }
    return 1;
}

}  // namespace larkmoor::understudy

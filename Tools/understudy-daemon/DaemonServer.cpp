#include "DaemonServer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "Commands.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorWire/Codec/Messages.h"
#include "LarkmoorWire/Identity/WireContract.h"

namespace larkmoor::understudy {

namespace {

constexpr std::size_t maxLogged = 10000;

const sd_bus_vtable* commandTable(sd_bus_message_handler_t handler) {
    static const std::vector<sd_bus_vtable> table = [&] {
        std::vector<sd_bus_vtable> rows;
        rows.push_back(SD_BUS_VTABLE_START(0));
        for (const Command& command : allCommands())
            rows.push_back(
                SD_BUS_METHOD(command.name, command.takes, command.gives, handler, SD_BUS_VTABLE_UNPRIVILEGED));
        rows.push_back(SD_BUS_VTABLE_END);
        return rows;
    }();
    return table.data();
}

/// One pipe for each leg, which holds the key and whose writing end is closed.
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

DaemonServer::DaemonServer(MainLoop& loop, Options options, DaemonModel model, std::function<void(int)> onEnd)
    : loop_(loop),
      options_(std::move(options)),
      model_(std::move(model)),
      onEnd_(std::move(onEnd)),
      bus_(loop),
      listener_(bus_, options_.serviceName) {}

void DaemonServer::open() {
    commands_ = bus_.addObject(objectPath, interface, commandTable(&DaemonServer::dispatch), this);
    listener_.listen({.onRequest = [this](const MessageDictionary& request,
                                          MessageListener::Respond respond) { onRequest(request, std::move(respond)); },
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

void DaemonServer::onRequest(const MessageDictionary& request, MessageListener::Respond respond) {
    const auto payload = XPCWire::data(XPCEndpoint::payloadKey, request);
    if (payload) note(std::string{asText(*payload)});
    if (model_.refuses) return respond(std::unexpected(MessageRefusal{}));
    const bool isUnanswered =
        payload && !model_.silentTo.empty() && asText(*payload).contains(fmt::format("\"{}\":", model_.silentTo));
    if (model_.isSilent || isUnanswered) return;
    MessageDictionary reply;
    if (model_.wire) XPCWire::setWire(*model_.wire, reply);
    if (model_.served) XPCWire::setServed(*model_.served, reply);
    // A knock, which only asks for the contract's number.
    if (!payload) return respondLater(std::move(respond), std::move(reply));
    if (model_.rawReply) {
        XPCWire::set(*model_.rawReply, XPCEndpoint::payloadKey, reply);
        return respondLater(std::move(respond), std::move(reply));
    }
    const auto asked = decode<GatewayRequest>(*payload);
    if (asked) return respondTo(*asked, std::move(reply), std::move(respond));
    putPayload(reply, GatewayResponse::Failure{"bad request: " + asked.error().description()});
    respondLater(std::move(respond), std::move(reply));
}

void DaemonServer::respondTo(const GatewayRequest& request, MessageDictionary reply, MessageListener::Respond respond) {
    const DaemonModel::Answer answer = model_.answer(request, std::chrono::system_clock::now());
    putPayload(reply, answer.response);
    if (answer.keyLegs > 0) reply.set(StoreKeyWire::descriptorsKey, leaseKeys(model_.storeKey, answer.keyLegs));
    if (!answer.isLast) return respondLater(std::move(respond), std::move(reply));
    respond(std::move(reply));
    exit();
}

void DaemonServer::respondLater(MessageListener::Respond respond, MessageDictionary reply) {
    if (model_.delay.count() <= 0) return respond(std::move(reply));
    auto timer = std::make_shared<boost::asio::steady_timer>(loop_, model_.delay);
    timer->async_wait(
        [timer, respond = std::move(respond), reply = std::move(reply)](boost::system::error_code failed) {
            if (!failed) respond(reply);
        });
}

void DaemonServer::note(std::string line) {
    if (log_.size() == maxLogged) log_.pop_front();
    log_.push_back(std::move(line));
}

void DaemonServer::push(BytesView event) {
    MessageDictionary message;
    XPCWire::set(event, XPCEndpoint::eventKey, message);
    std::erase_if(subscribers_, [&](const auto& subscriber) { return !subscriber->push(message); });
}

void DaemonServer::pushFront(FrontRecording front) {
    model_.front = front;
    if (const auto document = encode(GatewayEvent{GatewayEvent::FrontState{front}})) push(*document);
}

void DaemonServer::exit() {
    if (options_.sentinel) options_.sentinel->set();
    // The last reply must be sent before the exit; blocking is harmless by now.
    sd_bus_flush(bus_.handle());
    onEnd_(0);
}

int DaemonServer::dispatch(sd_bus_message* message, void* server, sd_bus_error*) noexcept {
    auto& self = *static_cast<DaemonServer*>(server);
    const BusMessage call = BusMessage::retaining(message);
    const BusMessage reply = BusMessage::methodReturn(call);
    const std::string_view name = sd_bus_message_get_member(message);
    for (const Command& command : allCommands()) {
        if (command.name != name) continue;
        BusReader reader{call};
        BusWriter writer{reply};
        const auto error = command.run(self, reader, writer);
        self.bus_.send(
            error ? BusMessage::methodError(call, {.name = std::string{BusErrorName::failed}, .message = *error})
                  : reply);
    }
    return 1;
}

}  // namespace larkmoor::understudy

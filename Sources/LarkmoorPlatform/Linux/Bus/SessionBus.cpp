#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

#include <boost/asio/async_result.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <cstdlib>
#include <utility>

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "LarkmoorPlatform/Linux/Bus/BusPump.h"

namespace larkmoor {

namespace {

constexpr const char* driver = "org.freedesktop.DBus";
constexpr const char* driverPath = "/org/freedesktop/DBus";

/// A path within an address, where most special characters are percent-encoded.
std::string escaped(std::string_view path) {
    constexpr std::string_view unreserved = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-/.\\*";
    std::string text;
    for (const char letter : path) {
        if (unreserved.find(letter) != std::string_view::npos) {
            text += letter;
        } else {
            text += fmt::format("%{:02x}", static_cast<unsigned char>(letter));
        }
    }
    return text;
}

std::string sessionAddress() {
    if (const char* named = std::getenv("DBUS_SESSION_BUS_ADDRESS"); named != nullptr && *named != '\0') return named;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    return runtime == nullptr ? std::string{} : "unix:path=" + escaped(runtime) + "/bus";
}

using MessageHandler = std::function<bool(const BusMessage&)>;

int handleMessage(sd_bus_message* message, void* handler, sd_bus_error*) noexcept {
    return (*static_cast<MessageHandler*>(handler))(BusMessage::retaining(message)) ? 1 : 0;
}

/// Hands the handler over to the slot; without a registration it is freed.
BusSlot keep(int registered, sd_bus_slot* slot, std::unique_ptr<MessageHandler> handler,
             const std::shared_ptr<BusPump>& pump) {
    if (registered < 0) return {};
    sd_bus_slot_set_destroy_callback(slot, [](void* held) { delete static_cast<MessageHandler*>(held); });
    static_cast<void>(handler.release());
    pump->schedule();
    return {slot, pump};
}

Task<BusResult> callOn(std::shared_ptr<BusPump> pump, BusMessage message, std::chrono::microseconds timeout) {
    using Token = boost::asio::use_awaitable_t<MainLoop::executor_type>;
    const auto start = [pump = pump.get(), &message, timeout](auto handler) {
        // The coroutine resumes in a turn of its own, since the library calls back from inside its processing.
        auto waiting = std::make_shared<decltype(handler)>(std::move(handler));
        auto reply = [waiting, &loop = pump->loop()](BusResult result) {
            boost::asio::post(
                loop, [waiting, result = std::move(result)]() mutable { std::move (*waiting)(std::move(result)); });
        };
        pump->call(message, {.reply = std::move(reply), .failsAtClose = true}, timeout).detach();
    };
    co_return co_await boost::asio::async_initiate<const Token, void(BusResult)>(start, Token{});
}

}  // namespace

SessionBus::SessionBus(MainLoop& loop, const std::optional<std::string>& address)
    : pump_(std::make_shared<BusPump>(loop)) {
    pump_->start(address ? *address : sessionAddress());
}

SessionBus::SessionBus(MainLoop& loop, const Peer& peer) : pump_(std::make_shared<BusPump>(loop)) {
    pump_->start("unix:path=" + escaped(peer.socket), false);
}

SessionBus::~SessionBus() { pump_->close(); }

void SessionBus::onLost(std::function<void(const BusError&)> handler) { pump_->onLost = std::move(handler); }

bool SessionBus::isLost() const { return pump_->isLost(); }

bool SessionBus::wasReady() const { return pump_->wasReady(); }

BusMessage SessionBus::methodCall(const std::string& destination, const std::string& path, const std::string& interface,
                                  const std::string& member) {
    sd_bus_message* message = nullptr;
    sd_bus_message_new_method_call(handle(), &message, destination.c_str(), path.c_str(), interface.c_str(),
                                   member.c_str());
    return BusMessage::adopting(message);
}

BusMessage SessionBus::signal(const std::string& path, const std::string& interface, const std::string& member) {
    sd_bus_message* message = nullptr;
    sd_bus_message_new_signal(handle(), &message, path.c_str(), interface.c_str(), member.c_str());
    return BusMessage::adopting(message);
}

bool SessionBus::send(const BusMessage& message) {
    if (!message || isLost()) return false;
    const bool isTaken = sd_bus_send(handle(), message.get(), nullptr) >= 0;
    pump();
    return isTaken;
}

BusSlot SessionBus::call(const BusMessage& message, Reply reply, std::chrono::microseconds timeout) {
    return pump_->call(message, {.reply = std::move(reply)}, timeout);
}

Task<BusResult> SessionBus::call(BusMessage message, std::chrono::microseconds timeout) {
    return callOn(pump_, std::move(message), timeout);
}

BusSlot SessionBus::addObject(const std::string& path, const std::string& interface, const sd_bus_vtable* table,
                              void* userdata) {
    sd_bus_slot* slot = nullptr;
    if (sd_bus_add_object_vtable(handle(), &slot, path.c_str(), interface.c_str(), table, userdata) < 0) return {};
    return {slot, pump_};
}

BusSlot SessionBus::match(const std::string& rule, std::function<void(const BusMessage&)> handler) {
    auto held = std::make_unique<MessageHandler>([handler = std::move(handler)](const BusMessage& message) {
        handler(message);
        return false;
    });
    sd_bus_slot* slot = nullptr;
    const int added = sd_bus_add_match_async(handle(), &slot, rule.c_str(), &handleMessage, nullptr, held.get());
    return keep(added, slot, std::move(held), pump_);
}

BusSlot SessionBus::filter(std::function<bool(const BusMessage&)> handler) {
    auto held = std::make_unique<MessageHandler>(std::move(handler));
    sd_bus_slot* slot = nullptr;
    const int added = sd_bus_add_filter(handle(), &slot, &handleMessage, held.get());
    return keep(added, slot, std::move(held), pump_);
}

BusSlot SessionBus::requestName(const std::string& name, std::function<void(std::expected<void, BusError>)> handler) {
    constexpr std::uint32_t doNotQueue = 4;
    const BusMessage request = methodCall(driver, driverPath, driver, "RequestName");
    BusWriter{request}.text(name).uint32(doNotQueue);
    return call(request, [name, handler = std::move(handler)](BusResult reply) {
        if (!reply) return handler(std::unexpected(std::move(reply.error())));
        constexpr std::uint32_t primaryOwner = 1;
        constexpr std::uint32_t alreadyOwner = 4;
        const std::uint32_t answer = BusReader{*reply}.uint32();
        if (answer == primaryOwner || answer == alreadyOwner) return handler({});
        handler(std::unexpected(
            BusError{.name = std::string{BusErrorName::nameTaken}, .message = name + " belongs to somebody else"}));
    });
}

void SessionBus::releaseName(const std::string& name) {
    const BusMessage release = methodCall(driver, driverPath, driver, "ReleaseName");
    BusWriter{release}.text(name);
    if (release) sd_bus_message_set_expect_reply(release.get(), 0);
    send(release);
}

BusNameWatch SessionBus::watchName(const std::string& name, std::function<void(const std::string& owner)> handler) {
    struct Watched {
        std::function<void(const std::string&)> handler;
        bool isKnown = false;
    };
    auto watched = std::make_shared<Watched>(std::move(handler));
    const auto rule =
        BusMatch{}.sender(driver).path(driverPath).interface(driver).member("NameOwnerChanged").argument(0, name);
    // The match is sent first, so that no change is missed between the two; a change that arrives before the reply is
    // older than the reply.
    BusNameWatch watch;
    watch.changes = match(rule.rule(), [watched](const BusMessage& change) {
        BusReader reader{change};
        reader.text();
        reader.text();
        const std::string owner{reader.text()};
        if (watched->isKnown && reader.fits()) watched->handler(owner);
    });
    const BusMessage question = methodCall(driver, driverPath, driver, "GetNameOwner");
    BusWriter{question}.text(name);
    watch.question = call(question, [watched](BusResult reply) {
        watched->isKnown = true;
        watched->handler(reply ? std::string{BusReader{*reply}.text()} : std::string{});
    });
    return watch;
}

std::string SessionBus::uniqueName() const {
    // Before that the library would block.
    if (sd_bus_is_ready(handle()) <= 0) return {};
    const char* name = nullptr;
    return sd_bus_get_unique_name(handle(), &name) < 0 ? std::string{} : std::string{name};
}

sd_bus* SessionBus::handle() const { return pump_->bus(); }

void SessionBus::pump() { pump_->schedule(); }

}  // namespace larkmoor

#include "LarkmoorPlatform/Linux/Applications/NotificationAlerts.h"

#include <fmt/format.h>

#include <boost/asio/this_coro.hpp>

#include <charconv>
#include <set>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorPlatform/Linux/Bus/BusValues.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

constexpr const char* service = "org.freedesktop.Notifications";
constexpr const char* path = "/org/freedesktop/Notifications";
constexpr const char* interface = service;
constexpr std::chrono::seconds callTimeout{5};

std::string escaped(std::string_view text) {
    std::string markup;
    for (const char letter : text) {
        switch (letter) {
            case '&':
                markup += "&amp;";
                break;
            case '<':
                markup += "&lt;";
                break;
            case '>':
                markup += "&gt;";
                break;
            default:
                markup += letter;
        }
    }
    return markup;
}

std::set<std::string> capabilities(const BusMessage& reply) {
    std::set<std::string> names;
    BusReader reader{reply};
    reader.array("s", [&] { names.emplace(reader.text()); });
    return names;
}

AlertAnswer notShown(const Alert& alert, std::string_view reason) {
    platformLog(fmt::format("[larkmoor-menu] no notification asks \"{}\" either: {}", alert.message, reason));
    return AlertAnswers::NotShown{};
}

}  // namespace

/// A notification that is shown, and what has become of it.
struct NotificationAlerts::Question {
    OneShotEvent ended;
    AlertAnswer answer = AlertAnswers::NotShown{};
    std::string failure{};
    std::string server{};  ///< its unique name
    std::uint32_t id = 0;

    void end(AlertAnswer how, std::string_view why = {}) {
        if (ended.isSet()) return;
        answer = how;
        failure = why;
        ended.set();
    }

    void onReply(const BusResult& reply) {
        if (!reply) return end(AlertAnswers::NotShown{}, reply.error().description());
        id = BusReader{*reply}.uint32();
        server = reply->sender();
    }

    void onAction(const BusMessage& signal, std::size_t buttons) {
        BusReader reader{signal};
        const bool isOurs = reader.uint32() == id && signal.sender() == server;
        const std::string_view key = reader.text();
        std::size_t button = buttons;
        std::from_chars(key.data(), key.data() + key.size(), button);
        if (isOurs && button < buttons) end(AlertAnswers::Chosen{static_cast<int>(button)});
    }

    void onClosed(const BusMessage& signal) {
        constexpr std::uint32_t dismissed = 2;
        BusReader reader{signal};
        if (reader.uint32() != id || signal.sender() != server) return;
        if (reader.uint32() == dismissed) return end(AlertAnswers::Dismissed{});
        end(AlertAnswers::NotShown{}, "it expired");
    }
};

BusMessage NotificationAlerts::call(const std::string& member) {
    return bus_.methodCall(service, path, interface, member);
}

BusMessage NotificationAlerts::notification(const Alert& alert, bool hasMarkup) {
    const BusMessage notify = call("Notify");
    BusWriter writer{notify};
    writer.text("Larkmoor").uint32(0).text("larkmoor").text(alert.message);
    writer.text(hasMarkup ? escaped(alert.text) : alert.text);
    writer.array("s", [&] {
        for (std::size_t index = 0; index < alert.buttons.size(); ++index)
            writer.text(std::to_string(index)).text(alert.buttons[index]);
    });
    constexpr std::uint8_t normal = 1, critical = 2;
    writer.array("{sv}", [&] {
        // Critical ones stay on the screen, and are shown where others are kept back.
        writer.property("urgency", "y", [&] { writer.byte(alert.buttons.size() > 1 ? critical : normal); });
        writer.property("desktop-entry", "s", [&] { writer.text("tools.fenwright.larkmoor.menubar"); });
    });
    constexpr std::int32_t never = 0;
    writer.int32(never);
    return notify;
}

Task<AlertAnswer> NotificationAlerts::show(Alert alert) {
    const BusResult known = co_await bus_.call(call("GetCapabilities"), callTimeout);
    if (!known) co_return notShown(alert, known.error().description());
    const std::set<std::string> can = capabilities(*known);
    const bool isQuestion = alert.buttons.size() > 1;
    if (isQuestion && !can.contains("actions"))
        co_return notShown(alert, "the desktop's notifications have no actions");

    const auto executor = co_await boost::asio::this_coro::executor;
    Question question{.ended = OneShotEvent{executor.context()}};
    const auto onSignal = [this](const char* member, auto handler) {
        return bus_.match(BusMatch{}.path(path).interface(interface).member(member).rule(), std::move(handler));
    };
    const std::size_t buttons = alert.buttons.size();
    const BusSlot action = onSignal(
        "ActionInvoked", [&question, buttons](const BusMessage& signal) { question.onAction(signal, buttons); });
    const BusSlot closed =
        onSignal("NotificationClosed", [&question](const BusMessage& signal) { question.onClosed(signal); });
    const BusNameWatch server = bus_.watchName(service, [&question](const std::string& owner) {
        if (!question.server.empty() && owner != question.server)
            question.end(AlertAnswers::NotShown{}, "the desktop's notifications have ended");
    });
    const BusSlot shown = bus_.call(
        notification(alert, can.contains("body-markup")),
        [&question](const BusResult& reply) { question.onReply(reply); }, callTimeout);
    MainTimer timer{executor, limit_};
    timer.async_wait([&question](boost::system::error_code cancelled) {
        if (!cancelled) question.end(AlertAnswers::NotShown{}, "nobody answered");
    });
    co_await question.ended.wait();

    const bool isAnswered = !std::holds_alternative<AlertAnswers::NotShown>(question.answer);
    if (isAnswered || question.server.empty() || !isQuestion) {
        if (!isAnswered) notShown(alert, question.failure);
        co_return question.answer;
    }
    const BusMessage withdraw = call("CloseNotification");
    BusWriter{withdraw}.uint32(question.id);
    if (withdraw) sd_bus_message_set_expect_reply(withdraw.get(), 0);
    bus_.send(withdraw);
    co_return notShown(alert, question.failure);
}

}  // namespace larkmoor

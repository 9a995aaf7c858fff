#include "LarkmoorPlatform/Linux/Applications/NotificationAlerts.h"

#include <fmt/format.h>

#include <boost/asio/this_coro.hpp>

#include <algorithm>
#include <functional>
#include <set>
#include <stop_token>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorBase/WholeNumber.h"
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

/// A notification that is shown, and what has become of it. Shared with what may come after its end: a timer that is
/// due, and the number under which a slow desktop shows it.
struct NotificationAlerts::Question : std::enable_shared_from_this<Question> {
    Question(SessionBus& sessionBus, const MainLoop::executor_type& executor, std::size_t buttonCount)
        : bus(sessionBus), ended(executor.context()), patience(executor), buttons(buttonCount) {}

    SessionBus& bus;
    OneShotEvent ended;
    MainTimer patience;
    const std::size_t buttons;
    AlertAnswer answer = AlertAnswers::NotShown{};
    std::string failure{};
    std::string server{};  ///< its unique name; empty until it has answered
    std::uint32_t id = 0;

    void end(AlertAnswer how, std::string_view why = {}) {
        if (ended.isSet()) return;
        answer = how;
        failure = why;
        patience.cancel();
        ended.set();
    }

    void endAfter(std::chrono::milliseconds limit, const char* why) {
        patience.expires_after(limit);
        patience.async_wait([self = weak_from_this(), why](boost::system::error_code cancelled) {
            if (const auto alive = self.lock(); alive && !cancelled) alive->end(AlertAnswers::NotShown{}, why);
        });
    }

    /// Takes a question from the screen, which would be asked in vain; what only informs stays.
    void withdraw() const {
        if (buttons < 2 || server.empty()) return;
        const BusMessage close = bus.methodCall(server, path, interface, "CloseNotification");
        BusWriter{close}.uint32(id);
        if (close) sd_bus_message_set_expect_reply(close.get(), 0);
        bus.send(close);
    }

    void onReply(const BusResult& reply, std::chrono::milliseconds limit) {
        if (!reply) return end(AlertAnswers::NotShown{}, reply.error().description());
        id = BusReader{*reply}.uint32();
        server = reply->sender();
        if (ended.isSet()) return withdraw();
        endAfter(limit, "nobody answered");
    }

    void onAction(const BusMessage& signal) {
        BusReader reader{signal};
        const bool isOurs = reader.uint32() == id && signal.sender() == server;
        const std::string_view key = reader.text();
        const std::size_t button = wholeNumber<std::size_t>(key).value_or(buttons);
        if (isOurs && button < buttons) end(AlertAnswers::Chosen{static_cast<int>(button)});
    }

    void onClosed(const BusMessage& signal) {
        constexpr std::uint32_t dismissed = 2;
        BusReader reader{signal};
        if (reader.uint32() != id || signal.sender() != server) return;
        if (reader.uint32() == dismissed) return end(AlertAnswers::Dismissed{});
        end(AlertAnswers::NotShown{}, "it expired");
    }

    void onServer(const std::string& owner) {
        if (!server.empty() && owner != server) end(AlertAnswers::NotShown{}, "the desktop's notifications have ended");
    }
};

NotificationAlerts::~NotificationAlerts() {
    if (const auto question = last_.lock(); question && !question->ended.isSet()) question->withdraw();
}

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
    const bool isQuestion = manner_ == Manner::question && alert.buttons.size() > 1;
    writer.array("{sv}", [&] {
        writer.property("urgency", "y", [&] { writer.byte(isQuestion ? critical : normal); });
        writer.property("desktop-entry", "s", [&] { writer.text("tools.fenwright.larkmoor.menubar"); });
    });
    constexpr std::int32_t never = 0;
    writer.int32(never);
    return notify;
}

Task<AlertAnswer> NotificationAlerts::show(Alert alert, AlertWatch watch) {
    // The desktop may keep notifications back, and does not tell.
    if (watch.onSight) watch.onSight(false);
    const BusResult known = co_await bus_.call(call("GetCapabilities"), callTimeout);
    if (watch.withdrawn.stop_requested()) co_return AlertAnswers::NotShown{};
    if (!known) co_return notShown(alert, known.error().description());
    const std::set<std::string> can = capabilities(*known);
    if (alert.buttons.size() > 1 && !can.contains("actions"))
        co_return notShown(alert, "the desktop's notifications have no actions");

    const auto question =
        std::make_shared<Question>(bus_, co_await boost::asio::this_coro::executor, alert.buttons.size());
    last_ = question;
    const std::stop_callback onWithdrawal{watch.withdrawn, [question] { question->end(AlertAnswers::NotShown{}); }};
    const auto onSignal = [this, question](const char* member, auto handler) {
        return bus_.match(BusMatch{}.path(path).interface(interface).member(member).rule(),
                          [question, handler](const BusMessage& signal) { std::invoke(handler, *question, signal); });
    };
    const BusSlot action = onSignal("ActionInvoked", &Question::onAction);
    const BusSlot closed = onSignal("NotificationClosed", &Question::onClosed);
    const BusNameWatch server =
        bus_.watchName(service, [question](const std::string& owner) { question->onServer(owner); });
    question->endAfter(std::min<std::chrono::milliseconds>(callTimeout, limit_), "the desktop does not answer");
    // Without a time-out, so that a question which comes to the screen too late is known.
    bus_.call(
            notification(alert, can.contains("body-markup")),
            [question, limit = limit_](const BusResult& reply) { question->onReply(reply, limit); },
            SessionBus::noTimeout)
        .detach();
    co_await question->ended.wait();

    if (std::holds_alternative<AlertAnswers::NotShown>(question->answer)) {
        question->withdraw();
        if (!watch.withdrawn.stop_requested()) co_return notShown(alert, question->failure);
    }
    co_return question->answer;
}

}  // namespace larkmoor

#include "LarkmoorPlatform/Linux/Applications/HelperAlerts.h"

#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/this_coro.hpp>

#include <exception>
#include <memory>
#include <stop_token>
#include <utility>

#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorPlatform/AlertProtocol.h"
#include "LarkmoorPlatform/Linux/Applications/ApplicationLauncher.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

constexpr auto maxDuration = std::chrono::hours{24};

std::string_view styleName(Alert::Style style) {
    switch (style) {
        case Alert::Style::informational:
            return "informational";
        case Alert::Style::warning:
            return "warning";
        case Alert::Style::critical:
            return "critical";
    }
    return "informational";
}

/// NULs are left out, since one would end the field.
void addField(Bytes& request, std::string_view name, std::string_view value) {
    const auto append = [&request](std::string_view text) {
        for (const std::byte byte : asBytes(text)) {
            if (byte != std::byte{}) request.push_back(byte);
        }
    };
    append(name);
    append("=");
    append(value);
    request.push_back({});
}

Bytes requestFor(const Alert& alert, std::string_view build) {
    Bytes request;
    addField(request, AlertProtocol::build, build);
    addField(request, AlertProtocol::asker, std::to_string(::getpid()));
    addField(request, AlertProtocol::style, styleName(alert.style));
    addField(request, AlertProtocol::message, alert.message);
    addField(request, AlertProtocol::text, alert.text);
    for (const std::string& button : alert.buttons) addField(request, AlertProtocol::button, button);
    if (alert.showsApplicationIcon) addField(request, AlertProtocol::icon, "application");
    return request;
}

/// The error says why the alert was not answered, for the log.
std::expected<AlertAnswer, std::string> answerOf(const ProcessResult& result, std::string_view answer,
                                                 std::size_t buttons) {
    if (result.status() != AlertProtocol::answered) {
        const std::string_view words = trimmed(asText(result.errors));
        return std::unexpected(result.description() + (words.empty() ? "" : "; ") + std::string{words});
    }
    if (answer == AlertProtocol::dismissed) return AlertAnswers::Dismissed{};
    std::size_t index = buttons;
    if (answer.starts_with(AlertProtocol::chosen)) {
        answer.remove_prefix(AlertProtocol::chosen.size());
        index = wholeNumber<std::size_t>(answer).value_or(buttons);
    }
    if (index >= buttons) return std::unexpected(std::string{"the helper's answer makes no sense"});
    return AlertAnswers::Chosen{static_cast<int>(index)};
}

}  // namespace

/// What the helper has said of its window. Shared, since a timer that is due may outlive the call.
struct HelperAlerts::Window {
    /// What is more is no answer.
    static constexpr std::size_t maxSaid = 1024;

    MainTimer patience;
    std::stop_source end{};  ///< of the helper
    std::string said{};
    bool isShown = false;

    /// The answer, without the word that came before it.
    std::string_view answer() const {
        std::string_view words{said};
        if (isShown) words.remove_prefix(AlertProtocol::shown.size());
        return trimmed(words);
    }
    /// True at the word that it is shown.
    bool hear(BytesView piece) {
        if (said.size() < maxSaid) said += asText(piece);
        if (isShown || !said.starts_with(std::string{AlertProtocol::shown} + "\n")) return false;
        patience.cancel();
        return isShown = true;
    }
};

HelperAlerts::HelperAlerts(ProcessRunner& runner, Options options)
    : runner_(runner), options_(std::move(options)), helper_(options_.helper) {}

Task<AlertAnswer> HelperAlerts::show(Alert alert, AlertWatch watch) {
    // Taken before the wait: the token belongs to the click that asked for this alert.
    const std::string token = options_.activationToken ? options_.activationToken() : std::string{};
    if (std::exchange(isShowing_, true)) {
        const auto executor = co_await boost::asio::this_coro::executor;
        OneShotEvent turn{executor.context()};
        if (watch.onSight) watch.onSight(false);
        waiting_.push_back(&turn);
        co_await turn.wait();
    }
    AlertAnswer answer;
    try {
        answer = co_await showNow(alert, watch, token);
    } catch (const std::exception& thrown) {
        platformLog(fmt::format("[larkmoor-menu] the alert \"{}\" was not shown: {}", alert.message, thrown.what()));
    }
    endTurn();
    co_return answer;
}

/// Lets the next alert be shown.
void HelperAlerts::endTurn() {
    isShowing_ = !waiting_.empty();
    if (!isShowing_) return;
    waiting_.front()->set();
    waiting_.pop_front();
}

/// The parameters live in the caller, which awaits this.
Task<AlertAnswer> HelperAlerts::showNow(const Alert& alert, const AlertWatch& watch, const std::string& token) {
    if (watch.withdrawn.stop_requested()) co_return AlertAnswers::NotShown{};
    const auto answer = co_await showWindow(alert, watch, token);
    if (answer) co_return *answer;
    if (watch.withdrawn.stop_requested()) co_return AlertAnswers::NotShown{};
    platformLog(fmt::format("[larkmoor-menu] the alert \"{}\" was not shown: {}", alert.message, answer.error()));
    if (options_.fallback == nullptr) co_return AlertAnswers::NotShown{};
    co_return co_await options_.fallback->show(alert, watch);
}

Task<std::expected<AlertAnswer, std::string>> HelperAlerts::showWindow(const Alert& alert, const AlertWatch& watch,
                                                                       const std::string& token) {
    const auto window = std::make_shared<Window>(MainTimer{co_await boost::asio::this_coro::executor, options_.limit});
    window->patience.async_wait([window](boost::system::error_code cancelled) {
        if (!cancelled && !window->isShown) window->end.request_stop();
    });
    const std::stop_callback onWithdrawal{watch.withdrawn, [window] { window->end.request_stop(); }};
    const auto listen = [window, onSight = watch.onSight](BytesView piece) {
        if (window->hear(piece) && onSight) onSight(true);
    };
    ProcessRequest request{.executable = helper_.executable(),
                           .name = helper_.path(),
                           .environment = environmentWithToken(token),
                           .input = ProcessInputs::FromBytes{requestFor(alert, options_.build)},
                           .output = ProcessOutputs::Streamed{listen},
                           .errors = ProcessOutputs::Captured{},
                           .budget = maxDuration};
    const ProcessResult result = co_await runner_.run(std::move(request), window->end.get_token());
    window->patience.cancel();
    if (std::holds_alternative<ProcessEnds::Stopped>(result.end))
        co_return std::unexpected(fmt::format("its window was not there after {} ms", options_.limit.count()));
    // Nobody looked at it for a day.
    if (std::holds_alternative<ProcessEnds::TimedOut>(result.end)) co_return AlertAnswers::Dismissed{};
    co_return answerOf(result, window->answer(), alert.buttons.size());
}

}  // namespace larkmoor

#include "LarkmoorPlatform/Linux/Applications/HelperAlerts.h"

#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/this_coro.hpp>

#include <charconv>
#include <utility>

#include "LarkmoorBase/Text.h"
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

/// The error says why the alert was not shown, for the log.
std::expected<AlertAnswer, std::string> answerOf(const ProcessResult& result, std::size_t buttons) {
    if (result.status() != AlertProtocol::answered) {
        const std::string_view words = trimmed(asText(result.errors));
        return std::unexpected(result.description() + (words.empty() ? "" : "; ") + std::string{words});
    }
    std::string_view answer = trimmed(asText(result.output));
    if (answer == AlertProtocol::dismissed) return AlertAnswers::Dismissed{};
    std::size_t index = buttons;
    if (answer.starts_with(AlertProtocol::chosen)) {
        answer.remove_prefix(AlertProtocol::chosen.size());
        std::from_chars(answer.data(), answer.data() + answer.size(), index);
    }
    if (index >= buttons) return std::unexpected(std::string{"the helper's answer makes no sense"});
    return AlertAnswers::Chosen{static_cast<int>(index)};
}

}  // namespace

HelperAlerts::HelperAlerts(ProcessRunner& runner, Options options)
    : runner_(runner), options_(std::move(options)), helper_(options_.helper) {}

Task<AlertAnswer> HelperAlerts::show(Alert alert) {
    // Taken before the wait: the token belongs to the click that asked for this alert.
    const std::string token = options_.activationToken ? options_.activationToken() : std::string{};
    if (std::exchange(isShowing_, true)) {
        const auto executor = co_await boost::asio::this_coro::executor;
        OneShotEvent turn{executor.context()};
        waiting_.push_back(&turn);
        co_await turn.wait();
    }
    AlertAnswer answer;
    try {
        answer = co_await showNow(alert, token);
    } catch (...) {
        endTurn();
        throw;
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

/// `alert` and `token` live in the caller, which awaits this.
Task<AlertAnswer> HelperAlerts::showNow(const Alert& alert, const std::string& token) {
    ProcessRequest request{.executable = helper_.executable(),
                           .name = helper_.path(),
                           .environment = environmentWithToken(token),
                           .input = ProcessInputs::FromBytes{requestFor(alert, options_.build)},
                           .output = ProcessOutputs::Captured{},
                           .errors = ProcessOutputs::Captured{},
                           .budget = maxDuration};
    const ProcessResult result = co_await runner_.run(std::move(request));
    const auto answer = answerOf(result, alert.buttons.size());
    if (answer) co_return *answer;
    platformLog(fmt::format("[larkmoor-menu] the alert \"{}\" was not shown: {}", alert.message, answer.error()));
    if (options_.fallback == nullptr) co_return AlertAnswers::NotShown{};
    co_return co_await options_.fallback->show(alert);
}

}  // namespace larkmoor

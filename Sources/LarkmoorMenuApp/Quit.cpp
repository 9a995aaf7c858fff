#include "LarkmoorMenuApp/Quit.h"

#include <boost/asio/redirect_error.hpp>

#include <utility>

#include "LarkmoorPlatform/Spawn.h"

namespace larkmoor {

namespace {

Task<void> requestShutdown(LarkmoorClient& client, std::shared_ptr<MainTimer> patience) {
    static_cast<void>(co_await client.send(GatewayRequest::Control{ControlRequest::Shutdown{}}));
    patience->cancel();
}

}  // namespace

bool Quit::isAskedInRow() const {
    if (!askedInRow_) return false;
    const auto passed = seams_.now() - *askedInRow_;
    // The clock may have been set back.
    return passed >= passed.zero() && passed < rowPatience;
}

Task<void> Quit::quitEverything() {
    if (ending_ || std::exchange(quitting_, true)) co_return;
    AlertAnswer answer = AlertAnswers::Chosen{0};
    if (!isAskedInRow()) {
        answer = co_await seams_.alerts.show(
            Alert{.style = Alert::Style::warning,
                  .message = "Quit Larkmoor?",
                  .text = "Recording stops. MCP stops. Settings closes. Icon leaves menu. Existing memories stay safe.",
                  .buttons = {"Quit", "Cancel"},
                  .showsApplicationIcon = true});
    }
    askedInRow_.reset();
    if (std::holds_alternative<AlertAnswers::NotShown>(answer)) askedInRow_ = seams_.now();
    if (answer == AlertAnswer{AlertAnswers::Chosen{0}}) co_await quitAllOf();
    quitting_ = false;
}

Task<void> Quit::quitAllOf(std::function<Task<void>()> before) {
    if (std::exchange(ending_, true)) co_return;
    if (before) co_await Spawning::toItsEnd(std::move(before));
    seams_.terminateSettings();
    // The daemon's answer is not looked at: neither a dead daemon nor one that hangs stops the quit.
    const auto patience = std::make_shared<MainTimer>(seams_.loop.get_executor(), shutdownPatience);
    spawn(seams_.loop, std::weak_ptr{seams_.client},
          [patience](LarkmoorClient& client) { return requestShutdown(client, patience); });
    boost::system::error_code answered;
    co_await patience->async_wait(boost::asio::redirect_error(awaiting, answered));
    seams_.terminate();
    ending_ = false;
}

}  // namespace larkmoor

#include "LarkmoorMenuApp/Quit.h"

#include <fmt/format.h>

#include <boost/asio/redirect_error.hpp>

#include <exception>
#include <utility>

#include "LarkmoorPlatform/PlatformLog.h"
#include "LarkmoorPlatform/Spawn.h"

namespace larkmoor {

namespace {

Task<void> requestShutdown(LarkmoorClient& client, std::shared_ptr<MainTimer> patience) {
    static_cast<void>(co_await client.send(GatewayRequest::Control{ControlRequest::Shutdown{}}));
    patience->cancel();
}

}  // namespace

void Quit::askInRow(bool asks) {
    rowTimer_.reset();
    rowAsks_ = asks;
    seams_.setRowTitle(asks ? rowQuestion : rowTitle);
}

void Quit::askInRowForAWhile() {
    askInRow(true);
    rowTimer_ = seams_.every(rowPatience, [this] { askInRow(false); });
}

Task<void> Quit::quitEverything() {
    if (rowAsks_) co_return co_await quitAllOf();
    if (ending_) co_return;
    // The window may be where nobody sees it: on another workspace, on a display that hangs by now, or behind another
    // alert that has to be answered first.
    if (std::exchange(isAlertUp_, true)) co_return askInRowForAWhile();
    alert_ = {};
    const AlertAnswer answer = co_await seams_.alerts.show(
        Alert{.style = Alert::Style::warning,
              .message = "Quit Larkmoor?",
              .text = "Recording stops. MCP stops. Settings closes. Icon leaves menu. Existing memories stay safe.",
              .buttons = {"Quit", "Cancel"},
              .showsApplicationIcon = true},
        {.onSight =
             [this](bool isInSight) {
                 if (!alert_.stop_requested()) askInRow(!isInSight);
             },
         .withdrawn = alert_.get_token()});
    isAlertUp_ = false;
    if (alert_.stop_requested()) co_return;
    askInRow(false);
    if (std::holds_alternative<AlertAnswers::NotShown>(answer)) askInRowForAWhile();
    if (answer == AlertAnswer{AlertAnswers::Chosen{0}}) co_await quitAllOf();
}

Task<void> Quit::quitAllOf(std::function<Task<void>()> before) {
    if (std::exchange(ending_, true)) co_return;
    const auto goesOn = [](const std::exception& thrown) {
        platformLog(fmt::format("[larkmoor-menu] the quit goes on after an error: {}", thrown.what()));
    };
    try {
        askInRow(false);
        alert_.request_stop();
        if (before) co_await Spawning::toItsEnd(std::move(before));
        if (seams_.isStoreAtWork()) seams_.setRowTitle(rowWaits);
        co_await Spawning::toItsEnd(seams_.untilStoreRests);
        seams_.terminateSettings();
    } catch (const std::exception& thrown) {
        goesOn(thrown);
    }
    try {
        co_await endDaemon();
    } catch (const std::exception& thrown) {
        goesOn(thrown);
    }
    seams_.terminate();
    ending_ = false;
}

Task<void> Quit::endDaemon() {
    // The daemon's answer is not looked at: neither a dead daemon nor one that hangs stops the quit.
    const auto patience = std::make_shared<MainTimer>(seams_.loop.get_executor(), shutdownPatience);
    spawn(seams_.loop, std::weak_ptr{seams_.client},
          [patience](LarkmoorClient& client) { return requestShutdown(client, patience); });
    boost::system::error_code answered;
    co_await patience->async_wait(boost::asio::redirect_error(awaiting, answered));
}

}  // namespace larkmoor

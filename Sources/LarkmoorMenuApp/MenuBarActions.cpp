// What a click does.
#include <boost/asio/redirect_error.hpp>

#include <filesystem>

#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Menu/OutcomeNote.h"
#include "LarkmoorMenuApp/MenuBar.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view website = "https://larkmoor.fenwright.tools";
constexpr std::string_view settingsExecutable = "larkmoor-settings";

}  // namespace

MenuRows::Actions MenuBar::actions() {
    return {
        .openOnboardingWindow = opening(WindowDoor::Pane::onboarding, true),
        .pauseQuarter = sending(ControlRequest::PauseFor{15}),
        .pauseHour = sending(ControlRequest::PauseFor{60}),
        .pauseForever = sending(ControlRequest::Pause{}),
        .resumeNow = sending(ControlRequest::Resume{}),
        .openEditor = opening(WindowDoor::Pane::editor, false),
        .openStats = opening(WindowDoor::Pane::stats, false),
        .openSettings = opening(WindowDoor::Pane::settings, false),
        .migrateNow = weakly([](MenuBar& self) { self.start(&MenuBar::migrateNow); }),
        .checkForUpdateNow = weakly([](MenuBar& self) { self.checkForUpdateNow(); }),
        .quitEverything = weakly([](MenuBar& self) { self.start(&MenuBar::quitEverything); }),
    };
}

MenuRow::Action MenuBar::sending(ControlRequest request) {
    return weakly([request = std::move(request)](MenuBar& self) {
        self.start([request](MenuBar& menu) { return menu.control(request); });
    });
}

/// The person sees no alert: the refresh shows what is true.
Task<void> MenuBar::control(ControlRequest request) {
    const std::string_view name = verb(request);
    const TimedResponse answer = co_await platform_.client->sendTimed(GatewayRequest::Control{std::move(request)});
    if (auto note = outcomeNote(name, answer.response)) relay_.note(*std::move(note));
    co_await refresh();
}

MenuRow::Action MenuBar::opening(WindowDoor::Pane pane, bool front) {
    return weakly([pane, front](MenuBar& self) { self.openWindow(pane, front); });
}

void MenuBar::openWindow(WindowDoor::Pane pane, bool front) {
    const auto running = platform_.applications.list();
    const bool isRunning = std::ranges::any_of(
        running, [this](const RunningApplication& application) { return isOwnSettings(application); });
    if (front) {
        platform_.setupLog(isRunning ? "menu: finish-setup row → door post" : "menu: finish-setup row → launch");
    }
    if (isRunning) {
        platform_.notifications.post(std::string{WindowDoor::notification}, std::string{rawText(pane)},
                                     WindowDoor::userInfo(front).value_or(WindowDoor::UserInfo{}));
        return;
    }
    const fs::path bundle{platform_.bundle};
    for (const fs::path& settings :
         {bundle / "Contents/Library/Settings/Larkmoor.app", bundle.parent_path() / settingsExecutable}) {
        if (Files::exists(settings.string())) return platform_.open(settings.string(), {WindowDoor::argument(pane)});
    }
}

/// A stranger's tool of the same name elsewhere is none of ours.
bool MenuBar::isOwnSettings(const RunningApplication& application) const {
    if (application.bundleIdentifier == ClientInstance::settingsID) return true;
    const fs::path executable = fs::path{application.executable}.lexically_normal();
    if (executable.filename() != settingsExecutable) return false;
    const std::string ownTreeRoot = fs::path{platform_.bundle}.parent_path().lexically_normal().string();
    const std::string place = executable.string();
    return place.starts_with(ownTreeRoot + "/") || place.contains(fmt::format("/{}/", ClientInstance::distDirName));
}

void MenuBar::checkForUpdateNow() {
    if (duties_.checkForUpdate) return duties_.checkForUpdate();
    start([](MenuBar& self) {
        return self.inform(
            fmt::format("Larkmoor couldn't check for updates. Please download the latest version from {}", website));
    });
}

void MenuBar::installUpdateNow() {
    if (duties_.installUpdate) return duties_.installUpdate();
    checkForUpdateNow();
}

Task<void> MenuBar::migrateNow() {
    std::string sentence = "Larkmoor couldn't update its data just now. It will try again the next time it opens.";
    if (duties_.migrateNow) sentence = co_await duties_.migrateNow();
    co_await inform(std::move(sentence));
}

Task<void> MenuBar::inform(std::string sentence) {
    static_cast<void>(co_await platform_.alerts.show(
        Alert{.style = Alert::Style::informational, .message = std::move(sentence), .buttons = {"OK"}}));
}

Task<void> MenuBar::quitEverything() {
    // The alert is modal: while it is up, and while a quit is under way, the row does nothing.
    if (std::exchange(quitting_, true)) co_return;
    const auto chosen = co_await platform_.alerts.show(
        Alert{.style = Alert::Style::warning,
              .message = "Quit Larkmoor?",
              .text = "Recording stops. MCP stops. Settings closes. Icon leaves menu. Existing memories stay safe.",
              .buttons = {"Quit", "Cancel"},
              .showsApplicationIcon = true});
    if (chosen == 0) co_await quitAllOf();
    quitting_ = false;
}

Task<void> MenuBar::cancelLocalModelsAndQuit() {
    platform_.setupLog("cancel-install: the journey asked — stopping the pipeline and undoing its receipts");
    co_await duties_.cancelLocalModels();
    co_await quitAllOf();
}

Task<void> MenuBar::askForShutdown(std::shared_ptr<MainTimer> patience) {
    static_cast<void>(co_await platform_.client->send(GatewayRequest::Control{ControlRequest::Shutdown{}}));
    patience->cancel();
}

Task<void> MenuBar::quitAllOf() {
    for (const RunningApplication& application : platform_.applications.list()) {
        if (isOwnSettings(application)) platform_.applications.terminate(application.process);
    }
    // Whatever the daemon answers: one that is dead does not stop the quit, nor does one that never answers.
    const auto patience = std::make_shared<MainTimer>(platform_.loop.get_executor(), quitPatience);
    start([patience](MenuBar& self) { return self.askForShutdown(patience); });
    boost::system::error_code answered;
    co_await patience->async_wait(boost::asio::redirect_error(awaiting, answered));
    platform_.terminate();
}

}  // namespace larkmoor

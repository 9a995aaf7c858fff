#include "LarkmoorMenuApp/MenuRows.h"

namespace larkmoor {

namespace {

using Start = MenuRow::Start;

RowImage symbol(const char* name) { return RowImages::Symbol{name}; }

}  // namespace

MenuRows MenuRows::make(std::string headerTitle, Actions actions) {
    constexpr int stays = MenuMode::staysInSetup;
    MenuRows rows;
    rows.header = MenuRow::make(Start{.title = std::move(headerTitle), .tag = stays, .enabled = false});
    rows.setupRow = MenuRow::make(Start{.title = "Finish setting up Larkmoor…",
                                        .action = std::move(actions.openOnboardingWindow),
                                        .tag = stays,
                                        .hidden = true});
    rows.statusLine = MenuRow::make(Start{.title = "Recording", .image = RowImages::RecordingDot{}, .enabled = false});
    rows.modelsLine = MenuRow::make(Start{.tag = stays, .hidden = true, .enabled = false});
    rows.pause15 =
        MenuRow::make(Start{.title = "• Pause 15 minutes", .action = std::move(actions.pauseQuarter), .indent = 1});
    rows.pause60 = MenuRow::make(Start{.title = "• Pause 1 hour", .action = std::move(actions.pauseHour), .indent = 1});
    rows.pauseIndef = MenuRow::make(Start{.title = "• Stop", .action = std::move(actions.pauseForever), .indent = 1});
    rows.resumeRow = MenuRow::make(
        Start{.title = "Resume Recording", .action = std::move(actions.resumeNow), .image = RowImages::PausedRing{}});
    rows.migrateNowRow =
        MenuRow::make(Start{.title = "Migrate now", .action = std::move(actions.migrateNow), .hidden = true});
    rows.postponedRow = MenuRow::make(Start{.hidden = true, .enabled = false});
    rows.updateRow = MenuRow::make(Start{.hidden = true});
    rows.installUpdateNow = std::move(actions.installUpdateNow);
    rows.memory = MenuRow::make(
        Start{.title = "Memory", .action = std::move(actions.openEditor), .image = RowImages::PebbleIcon{}});
    const auto stats = MenuRow::make(
        Start{.title = "Stats", .action = std::move(actions.openStats), .image = symbol("chart.bar.xaxis")});
    const auto settings = MenuRow::make(
        Start{.title = "Settings", .action = std::move(actions.openSettings), .image = symbol("gearshape.fill")});
    const auto checkForUpdate = MenuRow::make(Start{.title = "Check for Update…",
                                                    .action = std::move(actions.checkForUpdateNow),
                                                    .image = symbol("arrow.down.circle")});
    rows.quitRow = MenuRow::make(Start{.title = "Quit", .action = std::move(actions.quitEverything), .tag = stays});
    rows.inOrder = {
        rows.header,
        MenuRow::separator(),
        rows.setupRow,
        rows.statusLine,
        rows.modelsLine,
        rows.pause15,
        rows.pause60,
        rows.pauseIndef,
        rows.resumeRow,
        MenuRow::separator(),
        stats,
        MenuRow::separator(),
        settings,
        MenuRow::separator(),
        rows.migrateNowRow,
        rows.postponedRow,
        rows.updateRow,
        checkForUpdate,
        MenuRow::separator(),
        rows.quitRow,
    };
    return rows;
}

void RecordingRows::apply(const MenuHealth& health, std::optional<DoorFault> fault, bool showsAlert) {
    status_ = status_.after(health, fault, showsAlert);
    rows_.statusLine->setTitle(status_.line);
    rows_.statusLine->setImage(status_.hasRecordingDot ? RowImage{RowImages::RecordingDot{}} : RowImages::None{});
}

void RecordingRows::showPause() {
    for (const auto& row : {rows_.statusLine, rows_.pause15, rows_.pause60, rows_.pauseIndef}) {
        row->setHidden(status_.paused);
    }
    rows_.resumeRow->setHidden(!status_.paused);
    rows_.resumeRow->setTitle(status_.resumeTitle());
}

}  // namespace larkmoor

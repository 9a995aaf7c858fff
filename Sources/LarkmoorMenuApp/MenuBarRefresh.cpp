// How the menu is kept true: one pass over the daemon's state, and what the rows and the icon say of it.
#include "LarkmoorKit/Menu/MenuLabels.h"
#include "LarkmoorKit/Menu/MenuMode.h"
#include "LarkmoorMenuApp/MenuBar.h"

namespace larkmoor {

namespace {

/// The flag is set for as long as this lives: however a pass ends, the next one may begin.
class Set {
  public:
    explicit Set(bool& flag) : flag_(flag) { flag_ = true; }
    Set(const Set&) = delete;
    Set& operator=(const Set&) = delete;
    ~Set() { flag_ = false; }

  private:
    bool& flag_;
};

}  // namespace

Task<void> MenuBar::refresh() {
    // Passes never overlap, and one that is asked for meanwhile is not queued.
    if (refreshing_) co_return;
    const Set underWay{refreshing_};
    co_await refreshOnce();
}

Task<void> MenuBar::refreshOnce() {
    platform_.applications.refresh();
    const TimedResponse health = co_await platform_.client->sendTimed(GatewayRequest::Read{ReadRequest::Health{}});
    const std::optional<DoorFault> fault = platform_.client->lastDoorFault();
    // A door that has just failed would fail again, and a daemon that is silent would hold this pass for ever.
    lastWarranted_ = fault ? duties_.journeyWarrantedUnasked() : co_await duties_.journeyWarranted();
    apply(MenuHealth::decide(health.response, fault, ClientProfile::production), fault);
    applyMenuMode();
    if (!alert_) {
        lastFront_ = FrontRecording::full;
        if (!fault) co_await askFrontState();
    }
    if (refusals_.note(fault, platform_.now())) platform_.log(RefusalRun::line);
    redrawTrail();
    showRecordingRows();
}

void MenuBar::apply(const MenuHealth& health, std::optional<DoorFault> fault) {
    paused_ = health.isPaused();
    resumesAt_.reset();
    health.visit(
        [this](const MenuHealth::Recording&) {
            alert_ = false;
            rows_.statusLine->setTitle("Recording");
            rows_.statusLine->setImage(RowImages::RecordingDot{});
        },
        [this](const MenuHealth::Paused& pause) {
            alert_ = false;
            resumesAt_ = pause.resumesAt;
        },
        [this, fault](const MenuHealth::Attention& attention) {
            alert_ = MenuMode::showsAlert(journeyVisible_, lastWarranted_);
            alertLabel_ = MenuLabels::attention(fault);
            rows_.statusLine->setTitle(attention.line);
            rows_.statusLine->setImage(RowImages::None{});
        });
}

void MenuBar::applyMenuMode() {
    const bool wanted = MenuMode::wantsSetup(journeyVisible_, lastWarranted_);
    if (wanted == setupMode_) return;
    setupMode_ = wanted;
    for (const auto& row : rows_.inOrder) {
        if (row == rows_.modelsLine || row == rows_.updateRow) continue;
        row->setHidden(setupMode_ ? row->tag() != MenuMode::staysInSetup : row == rows_.setupRow);
    }
    if (!setupMode_) {
        // The next pass may have to wait for the daemon: until then the rows are as they were known last.
        syncPostponedRow();
        syncMigrateNowRow();
        showRecordingRows();
    }
    syncModelsLine();
}

Task<void> MenuBar::askFrontState() {
    const GatewayResponse answer = co_await platform_.client->send(GatewayRequest::Read{ReadRequest::FrontState{}});
    const auto* front = answer.as<GatewayResponse::FrontState>();
    lastFront_ = front == nullptr ? FrontRecording::full : front->_0;
}

void MenuBar::redrawTrail() {
    if (alert_) return item_->setIcon(StatusIcon::attention, alertLabel_);
    const bool isFilled = lastFront_ == FrontRecording::full;
    item_->setIcon(isFilled ? StatusIcon::trailFilled : StatusIcon::trailHollow, MenuLabels::trail(lastFront_));
}

/// The recording has these rows in both modes: a change of mode hides or shows them only until the pass is over.
void MenuBar::showRecordingRows() {
    for (const auto& row : {rows_.statusLine, rows_.pause15, rows_.pause60, rows_.pauseIndef}) row->setHidden(paused_);
    rows_.resumeRow->setHidden(!paused_);
    rows_.resumeRow->setTitle(MenuLabels::resumeTitle(resumesAt_));
}

}  // namespace larkmoor

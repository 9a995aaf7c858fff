// The rows of the menu as named members, so that the application can update them.
#pragma once

#include <memory>
#include <string>

#include "LarkmoorKit/Menu/MenuHealth.h"
#include "LarkmoorPlatform/Menu.h"

namespace larkmoor {

struct MenuRows {
    using Row = std::shared_ptr<MenuRow>;

    struct Actions {
        MenuRow::Action openOnboardingWindow;
        MenuRow::Action pauseQuarter;
        MenuRow::Action pauseHour;
        MenuRow::Action pauseForever;
        MenuRow::Action resumeNow;
        MenuRow::Action openEditor;
        MenuRow::Action openStats;
        MenuRow::Action openSettings;
        MenuRow::Action migrateNow;
        MenuRow::Action installUpdateNow;
        MenuRow::Action checkForUpdateNow;
        MenuRow::Action quitEverything;
    };

    /// As they are at launch.
    static MenuRows make(std::string headerTitle, Actions actions);

    /// All of them in menu order, with the separators.
    Menu::Rows inOrder;

    Row header, setupRow, statusLine, modelsLine;
    Row pause15, pause60, pauseIndef, resumeRow;
    Row migrateNowRow, postponedRow, updateRow, quitRow;
    /// Created with the others, but not shown: it is deliberately left out of `inOrder`.
    Row memory;

    /// The action of `updateRow` while a click on it installs the update.
    MenuRow::Action installUpdateNow;
};

/// The rows about the recording. Main thread; `rows` outlives this.
class RecordingRows {
  public:
    explicit RecordingRows(const MenuRows& rows) : rows_(rows) {}

    const RecordingStatus& status() const { return status_; }

    /// Updates the status from a health answer, and shows it in the status line.
    void apply(const MenuHealth& health, std::optional<DoorFault> fault, bool showsAlert);
    /// Keeps what the recorder last said of the front window.
    void setFront(FrontRecording front) { status_.lastFront = front; }
    /// Shows the rows of the recording or those of the pause.
    void showPause();

  private:
    const MenuRows& rows_;
    RecordingStatus status_;
};

}  // namespace larkmoor

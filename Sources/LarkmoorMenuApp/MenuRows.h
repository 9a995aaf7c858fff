// The rows of the menu, by the names under which the controller keeps them true.
#pragma once

#include <functional>
#include <memory>
#include <string>

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
        MenuRow::Action checkForUpdateNow;
        MenuRow::Action quitEverything;
    };

    /// As they are at launch.
    static MenuRows make(std::string headerTitle, Actions actions);

    /// All of them in menu order, with the separators.
    Menu::Rows inOrder;

    Row header, setupRow, statusLine, modelsLine;
    Row pause15, pause60, pauseIndef, resumeRow;
    Row migrateNowRow, postponedRow, updateRow;
    /// Made with the others and deliberately placed in no menu.
    Row memory;
};

}  // namespace larkmoor

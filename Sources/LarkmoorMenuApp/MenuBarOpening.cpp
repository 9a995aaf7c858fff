// The menu while it is open, and the rows that progress under the person's eyes.
#include "LarkmoorMenuApp/MenuBar.h"

namespace larkmoor {

void MenuBar::menuWillOpen() {
    start(&MenuBar::refresh);
    // The syncs run as with a closed menu, where rows may come and go; under the mouse they must not.
    modelsTicker_.reset();
    menuIsOpen_ = false;
    syncModelsLine();
    syncPostponedRow();
    syncUpdateRow();
    syncMigrateNowRow();
    menuIsOpen_ = true;
    modelsTicker_ = platform_.every(tickerInterval, weakly([](MenuBar& self) {
                                        self.syncModelsLine();
                                        self.paintUpdateRow();
                                    }));
    start(duties_.releaseQuitIfHeld);
}

void MenuBar::menuDidClose() {
    menuIsOpen_ = false;
    modelsTicker_.reset();
    syncModelsLine();
    syncUpdateRow();
}

bool MenuBar::validateMenuItem(const MenuRow& row) {
    return &row != rows_.migrateNowRow.get() || !duties_.isMigrating();
}

void MenuBar::syncModelsLine() {
    if (menuIsOpen_ && rows_.modelsLine->hidden()) return;
    const auto line = duties_.modelsLine();
    if (line) {
        modelsRow_.show(line->title, line->fraction);
    } else if (menuIsOpen_) {
        if (duties_.allDownloadsDone()) modelsRow_.complete();
        return;
    } else {
        modelsRow_.hide();
    }
    rows_.modelsLine->setHidden(!line);
}

void MenuBar::syncPostponedRow() {
    const auto sentence = duties_.postponedSentence();
    if (sentence) rows_.postponedRow->setTitle(*sentence);
    rows_.postponedRow->setHidden(!sentence);
}

void MenuBar::syncMigrateNowRow() { rows_.migrateNowRow->setHidden(!duties_.migrationOwed()); }

void MenuBar::syncUpdateRow() {
    const auto line = setupMode_ ? std::nullopt : duties_.updateLine();
    if (line) {
        showUpdateLine(*line);
    } else {
        updateBar_.hide();
        rows_.updateRow->setAction({});
    }
    rows_.updateRow->setHidden(!line);
}

void MenuBar::paintUpdateRow() {
    if (rows_.updateRow->hidden()) return;
    if (const auto line = duties_.updateLine()) showUpdateLine(*line);
}

void MenuBar::showUpdateLine(const MenuDuties::Line& line) {
    if (line.fraction || line.indeterminate) {
        rows_.updateRow->setAction({});
        return updateBar_.show(line.title, line.fraction);
    }
    updateBar_.hide();
    rows_.updateRow->setTitle(line.title);
    rows_.updateRow->setAction(line.actionable ? weakly([](MenuBar& self) { self.installUpdateNow(); })
                                               : MenuRow::Action{});
}

}  // namespace larkmoor

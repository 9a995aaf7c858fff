#include "LarkmoorMenuApp/ProgressRows.h"

namespace larkmoor {

void ModelsRow::show(const MenuLine& line) {
    row_->setTitle(line.title);
    row_->setProgress(line.bar);
    visible_ = true;
}

void ModelsRow::complete() {
    if (visible_) row_->setProgress(RowProgresses::Fill{1});
}

void ModelsRow::hide() {
    row_->setProgress(RowProgresses::None{});
    visible_ = false;
}

void ProgressRows::menuWillOpen(bool setupMode) {
    menuIsOpen_ = false;
    syncModelsLine();
    syncPostponedRow();
    syncUpdateRow(setupMode);
    syncMigrateNowRow();
    menuIsOpen_ = true;
}

void ProgressRows::menuDidClose(bool setupMode) {
    menuIsOpen_ = false;
    syncModelsLine();
    syncUpdateRow(setupMode);
}

void ProgressRows::tick() {
    syncModelsLine();
    paintUpdateRow();
}

void ProgressRows::modelsChanged() {
    const bool isShown = !rows_.modelsLine->hidden();
    if (!menuIsOpen_ && isShown != models_.line().has_value()) syncModelsLine();
}

void ProgressRows::updateChanged(bool setupMode) {
    if (menuIsOpen_) return paintUpdateRow();
    syncUpdateRow(setupMode);
    if (setupMode) return;
    // A panel that draws a menu before it asks would have no room for a row that comes at the opening.
    syncPostponedRow();
    syncMigrateNowRow();
}

void ProgressRows::syncModelsLine() {
    if (menuIsOpen_ && rows_.modelsLine->hidden()) return;
    const auto line = models_.line();
    if (line) {
        modelsRow_.show(*line);
    } else if (menuIsOpen_) {
        if (models_.allDownloadsDone()) modelsRow_.complete();
        return;
    } else {
        modelsRow_.hide();
    }
    rows_.modelsLine->setHidden(!line);
}

void ProgressRows::syncPostponedRow() {
    const auto sentence = updates_.postponedSentence();
    if (sentence) rows_.postponedRow->setTitle(*sentence);
    rows_.postponedRow->setHidden(!sentence);
}

void ProgressRows::syncMigrateNowRow() { rows_.migrateNowRow->setHidden(!updates_.migrationOwed()); }

void ProgressRows::syncUpdateRow(bool setupMode) {
    const auto line = setupMode ? std::nullopt : updates_.line();
    if (line) {
        showUpdateLine(*line);
    } else {
        updateBar_.hide();
        rows_.updateRow->setAction({});
    }
    rows_.updateRow->setHidden(!line);
}

void ProgressRows::paintUpdateRow() {
    if (rows_.updateRow->hidden()) return;
    if (const auto line = updates_.line()) showUpdateLine(*line);
}

void ProgressRows::showUpdateLine(const MenuLine& line) {
    if (!std::holds_alternative<RowProgresses::None>(line.bar)) {
        rows_.updateRow->setAction({});
        return updateBar_.show(line);
    }
    updateBar_.hide();
    rows_.updateRow->setTitle(line.title);
    rows_.updateRow->setAction(line.click == MenuLine::Click::installNow ? rows_.installUpdateNow : MenuRow::Action{});
}

}  // namespace larkmoor

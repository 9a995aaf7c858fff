// The rows for work under way: models, update, postponed update, migration. They are shown and hidden while the menu is
// closed; the ticks of an open menu only change their content.
#pragma once

#include "LarkmoorMenuApp/MenuDuties.h"
#include "LarkmoorMenuApp/MenuRows.h"

namespace larkmoor {

/// A label and a bar, hosted in a row of the menu. Main thread.
class ModelsRow {
  public:
    explicit ModelsRow(const MenuRows::Row& row) : row_(row) {}

    void show(const MenuLine& line);
    /// Fills the bar, if it is visible.
    void complete();
    /// Removes the bar from the row.
    void hide();

  private:
    const MenuRows::Row& row_;
    bool visible_ = false;
};

/// Main thread. What it refers to outlives it.
class ProgressRows {
  public:
    ProgressRows(const MenuRows& rows, const MenuDuties& duties)
        : rows_(rows), models_(duties.models), updates_(duties.updates) {}

    // In setup mode the update row is hidden.

    void menuWillOpen(bool setupMode);
    void menuDidClose(bool setupMode);
    /// Paints the visible rows again, in an open menu.
    void tick();

    /// The models' row comes and goes while the menu is closed, since hosts give an open menu no more room. It is drawn
    /// only then: not with each step of the progress.
    void modelsChanged();
    /// The update's row shows a change at once: only an open menu's rows do not come and go.
    void updateChanged(bool setupMode);

    void syncModelsLine();
    void syncPostponedRow();
    void syncMigrateNowRow();
    void syncUpdateRow(bool setupMode);

  private:
    void paintUpdateRow();
    void showUpdateLine(const MenuLine& line);

    const MenuRows& rows_;
    const MenuDuties::Models& models_;
    const MenuDuties::Updates& updates_;
    ModelsRow modelsRow_{rows_.modelsLine};
    ModelsRow updateBar_{rows_.updateRow};
    bool menuIsOpen_ = false;
};

}  // namespace larkmoor

// What a row shows while something progresses: a label and a bar. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "LarkmoorPlatform/MenuRow.h"

namespace larkmoor {

/// Hosted in a menu row that it shares; `visible` says whether the bar is what the row shows.
class ModelsRow {
  public:
    explicit ModelsRow(std::shared_ptr<MenuRow> row) : row_(std::move(row)) {}

    bool visible() const { return visible_; }
    bool indeterminate() const { return indeterminate_; }

    /// The label and the bar, which moves by itself when nobody knows how much is left (no fraction).
    void show(const std::string& title, std::optional<double> fraction);
    /// Fills the bar if it is visible.
    void complete();
    /// Takes the bar out of the row.
    void hide();

  private:
    std::shared_ptr<MenuRow> row_;
    bool visible_ = false;
    bool indeterminate_ = false;
};

}  // namespace larkmoor

#include "LarkmoorMenuApp/ModelsRow.h"

namespace larkmoor {

void ModelsRow::show(const std::string& title, std::optional<double> fraction) {
    row_->setTitle(title);
    row_->setProgress(fraction ? RowProgress{RowProgresses::Fraction{*fraction}}
                               : RowProgress{RowProgresses::Indeterminate{}});
    indeterminate_ = !fraction;
    visible_ = true;
}

void ModelsRow::complete() {
    if (!visible_) return;
    row_->setProgress(RowProgresses::Fraction{1});
    indeterminate_ = false;
}

void ModelsRow::hide() {
    row_->setProgress(RowProgresses::None{});
    visible_ = false;
    indeterminate_ = false;
}

}  // namespace larkmoor

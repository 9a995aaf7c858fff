// Takes what an item and its menu answer into a view. Whatever is missing or of another type stays empty.
#pragma once

#include <vector>

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "TrayView.h"

namespace larkmoor::tray {

/// The answer to GetAll of org.kde.StatusNotifierItem; service, path and rows are left alone.
void readItem(const BusMessage& reply, ItemView& into);

/// The answer to GetLayout of com.canonical.dbusmenu.
std::vector<RowView> readLayout(const BusMessage& reply);

/// The label without mnemonic marks, and how many levels it is indented by.
struct PlainLabel {
    std::string text;
    int indent = 0;
};
PlainLabel plainLabel(std::string_view label);

}  // namespace larkmoor::tray

// Puts a menu's picture into messages of com.canonical.dbusmenu.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "LarkmoorPlatform/Linux/Bus/BusWriter.h"
#include "LarkmoorPlatform/Linux/Tray/MenuPicture.h"

namespace larkmoor {

/// A variant.
void writeValue(BusWriter& writer, const MenuProperty& property);

/// (ia{sv})
void writeRow(BusWriter& writer, std::int32_t id, const MenuProperties& properties);

/// (ia{sv}av): the item and, unless `depth` is 0, its children. The picture knows `parent`.
void writeLayout(BusWriter& writer, const MenuPicture& picture, std::int32_t parent, std::int32_t depth,
                 const std::vector<std::string>& names);

/// a(ia{sv})a(ias)
void writeChanges(BusWriter& writer, const std::vector<MenuChange>& changes);

}  // namespace larkmoor

// Writes menu snapshots into com.canonical.dbusmenu messages.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "LarkmoorPlatform/Linux/Bus/BusValues.h"
#include "LarkmoorPlatform/Linux/Tray/MenuSnapshot.h"

namespace larkmoor {

/// A variant.
void writeValue(BusWriter& writer, const MenuProperty& property);

/// (ia{sv})
void writeRow(BusWriter& writer, std::int32_t id, const MenuProperties& properties);

/// (ia{sv}av): the row and, unless `depth` is 0, its children. Requires `snapshot.knows(parent)`.
void writeLayout(BusWriter& writer, const MenuSnapshot& snapshot, std::int32_t parent, std::int32_t depth,
                 const std::vector<std::string>& names);

/// a(ia{sv})a(ias)
void writeChanges(BusWriter& writer, const std::vector<MenuChange>& changes);

}  // namespace larkmoor

#include "LarkmoorPlatform/Linux/Tray/DbusMenuWriting.h"

#include <string_view>
#include <variant>

namespace larkmoor {

namespace {

void writeProperties(BusWriter& writer, const MenuProperties& properties) {
    writer.array("{sv}", [&] {
        for (const MenuProperty& property : properties) {
            writer.entry("sv", [&] {
                writer.text(std::string{property.name});
                writeValue(writer, property);
            });
        }
    });
}

}  // namespace

void writeValue(BusWriter& writer, const MenuProperty& property) {
    if (const auto* truth = std::get_if<bool>(&property.value)) {
        writer.variant("b", [&] { writer.boolean(*truth); });
    } else if (const auto* text = std::get_if<std::string>(&property.value)) {
        writer.variant("s", [&] { writer.text(*text); });
    } else if (const auto* png = std::get_if<MenuPng>(&property.value)) {
        writer.variant("ay", [&] { writer.bytes(png->bytes); });
    }
}

void writeRow(BusWriter& writer, std::int32_t id, const MenuProperties& properties) {
    writer.structure("ia{sv}", [&] {
        writer.int32(id);
        writeProperties(writer, properties);
    });
}

void writeLayout(BusWriter& writer, const MenuSnapshot& snapshot, std::int32_t parent, std::int32_t depth,
                 const std::vector<std::string>& names) {
    writer.structure("ia{sv}av", [&] {
        writer.int32(parent);
        writeProperties(writer, selected(snapshot.propertiesOf(parent), names));
        writer.array("v", [&] {
            if (parent != MenuSnapshot::rootId || depth == 0) return;
            for (std::size_t row = 0; row < snapshot.rows.size(); ++row) {
                writer.variant("(ia{sv}av)", [&] { writeLayout(writer, snapshot, snapshot.idOf(row), 0, names); });
            }
        });
    });
}

void writeChanges(BusWriter& writer, const std::vector<MenuChange>& changes) {
    writer.array("(ia{sv})", [&] {
        for (const MenuChange& change : changes)
            if (!change.set.empty()) writeRow(writer, change.id, change.set);
    });
    writer.array("(ias)", [&] {
        for (const MenuChange& change : changes) {
            if (change.removed.empty()) continue;
            writer.structure("ias", [&] {
                writer.int32(change.id);
                writer.array("s", [&] {
                    for (const std::string_view name : change.removed) writer.text(std::string{name});
                });
            });
        }
    });
}

}  // namespace larkmoor

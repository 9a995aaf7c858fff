#include "TrayView.h"

#include <algorithm>
#include <array>
#include <utility>

#include "LarkmoorPlatform/Linux/Bus/BusValues.h"
#include "LarkmoorPlatform/Linux/Tray/TrayImages.h"

namespace larkmoor::tray {

namespace {

void flatten(const std::vector<RowView>& rows, bool all, int depth, std::vector<RowView>& out) {
    for (const RowView& row : rows) {
        if (!row.visible && !all) continue;
        out.push_back(row);
        out.back().indent += depth;
        flatten(row.children, all, depth + 1, out);
    }
}

/// A label in one line, without mnemonic marks, and its indentation in levels.
struct PlainLabel {
    std::string text;
    int indent = 0;
};

PlainLabel plainLabel(std::string_view label) {
    constexpr std::string_view emSpace = "\u2003";
    PlainLabel plain;
    for (; label.starts_with(emSpace); label.remove_prefix(emSpace.size())) ++plain.indent;
    for (std::size_t at = 0; at < label.size(); ++at) {
        // A doubled underscore is literal, a single one marks a mnemonic.
        if (label[at] == '_') ++at;
        if (at < label.size()) plain.text += label[at] == '\n' ? ' ' : label[at];
    }
    return plain;
}

std::string imageName(BytesView png) {
    struct Known {
        std::string_view name;
        RowImage image;
    };
    static const std::array<Known, 6> images{{
        {"recordingDot", RowImages::RecordingDot{}},
        {"pausedRing", RowImages::PausedRing{}},
        {"pebbleIcon", RowImages::PebbleIcon{}},
        {"chart.bar.xaxis", RowImages::Symbol{"chart.bar.xaxis"}},
        {"gearshape.fill", RowImages::Symbol{"gearshape.fill"}},
        {"arrow.down.circle", RowImages::Symbol{"arrow.down.circle"}},
    }};
    if (png.empty()) return {};
    for (const int pixels : {16, 32}) {
        if (std::ranges::equal(png, transparentPng(pixels))) return {};
        for (const Known& known : images)
            if (std::ranges::equal(png, menuImagePng(known.image, pixels))) return std::string{known.name};
    }
    return "png";
}

void readToolTip(BusReader& reader, std::string& into) {
    reader.structure("sa(iiay)ss", [&] {
        reader.skip();
        reader.skip();
        into = reader.text();
        const std::string_view body = reader.text();
        if (!into.empty() && !body.empty()) into += ": ";
        into += body;
    });
}

void readRowProperty(BusReader& reader, std::string_view key, std::string_view contents, RowView& row) {
    if (key == "label" && contents == "s") {
        PlainLabel label = plainLabel(reader.text());
        row.label = std::move(label.text);
        row.indent = label.indent;
    } else if (key == "type" && contents == "s") {
        row.separator = reader.text() == "separator";
    } else if (key == "enabled" && contents == "b") {
        row.enabled = reader.boolean();
    } else if (key == "visible" && contents == "b") {
        row.visible = reader.boolean();
    } else if (key == "icon-name" && contents == "s") {
        row.icon = reader.text();
    } else if (key == "icon-data" && contents == "ay") {
        row.icon = imageName(reader.bytes());
    } else {
        reader.skip();
    }
}

RowView readRow(BusReader& reader) {
    RowView row;
    reader.structure("ia{sv}av", [&] {
        row.id = reader.int32();
        reader.properties(
            [&](std::string_view key, std::string_view contents) { readRowProperty(reader, key, contents, row); });
        reader.array("v", [&] { reader.variant([&](std::string_view) { row.children.push_back(readRow(reader)); }); });
    });
    return row;
}

}  // namespace

std::vector<RowView> flatRows(const std::vector<RowView>& rows, bool all) {
    std::vector<RowView> out;
    flatten(rows, all, 0, out);
    return out;
}

void readItem(const BusMessage& reply, ItemView& into) {
    const std::pair<std::string_view, std::string ItemView::*> texts[] = {
        {"Id", &ItemView::id},
        {"Title", &ItemView::title},
        {"Status", &ItemView::status},
        {"IconName", &ItemView::icon},
        {"IconAccessibleDesc", &ItemView::description},
        {"IconThemePath", &ItemView::iconThemePath},
    };
    BusReader reader{reply};
    reader.properties([&](std::string_view key, std::string_view contents) {
        const auto text = std::ranges::find(texts, key, &std::pair<std::string_view, std::string ItemView::*>::first);
        if (text != std::end(texts) && contents == "s") {
            into.*text->second = reader.text();
        } else if (key == "Menu" && contents == "o") {
            into.menuPath = reader.path();
        } else if (key == "ToolTip" && contents == "(sa(iiay)ss)") {
            readToolTip(reader, into.toolTip);
        } else {
            reader.skip();
        }
    });
}

std::vector<RowView> readLayout(const BusMessage& reply) {
    BusReader reader{reply};
    reader.uint32();
    return readRow(reader).children;
}

}  // namespace larkmoor::tray

#include "TrayView.h"

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

}  // namespace

std::vector<RowView> flatRows(const std::vector<RowView>& rows, bool all) {
    std::vector<RowView> out;
    flatten(rows, all, 0, out);
    return out;
}

}  // namespace larkmoor::tray

#include "LarkmoorPlatform/Linux/Tray/StatusLook.h"

#include "LarkmoorPlatform/Linux/Tray/MenuText.h"

namespace larkmoor {

std::string_view iconName(StatusIcon icon) {
    switch (icon) {
        case StatusIcon::trailFilled:
            return "larkmoor-trail-filled-symbolic";
        case StatusIcon::trailHollow:
            return "larkmoor-trail-hollow-symbolic";
        case StatusIcon::attention:
            return "larkmoor-attention-symbolic";
    }
    return {};
}

StatusLook StatusLook::of(StatusIcon icon, std::string_view label) {
    return {.iconName = std::string{larkmoor::iconName(icon)},
            .status = icon == StatusIcon::attention ? "NeedsAttention" : "Active",
            .label = MenuText::cleaned(label),
            .headline = MenuText::withoutMarkup(label)};
}

std::vector<std::string_view> signalsBetween(const StatusLook& before, const StatusLook& after) {
    std::vector<std::string_view> signals;
    // Hosts read the accessible name together with the icon.
    if (before.iconName != after.iconName || before.label != after.label) signals.push_back("NewIcon");
    if (after.status == "NeedsAttention" && before != after) signals.push_back("NewAttentionIcon");
    if (before.status != after.status) signals.push_back("NewStatus");
    if (before.headline != after.headline) {
        signals.push_back("NewTitle");
        signals.push_back("NewToolTip");
    }
    return signals;
}

}  // namespace larkmoor

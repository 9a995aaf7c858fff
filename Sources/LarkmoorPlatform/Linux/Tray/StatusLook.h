// What hosts are told of the status item's icon. Pure.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor {

struct StatusLook {
    std::string iconName;
    std::string status;    ///< "Active" or "NeedsAttention"
    std::string label;     ///< for who does not see the icon
    std::string headline;  ///< the label as a title and tooltip, which some hosts parse as markup

    static StatusLook of(StatusIcon icon, std::string_view label);

    bool operator==(const StatusLook&) const = default;
};

/// "larkmoor-trail-filled-symbolic" and its kin, as they lie in the icon theme.
std::string_view iconName(StatusIcon icon);

/// The signals that take a host from one look to the other, to be sent once the new one can be read. Attention changes
/// the icon too, since some hosts do not repaint for the status alone.
std::vector<std::string_view> signalsBetween(const StatusLook& before, const StatusLook& after);

}  // namespace larkmoor

// What the daemon's health answer means for the menu.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorKit/Door/DoorFault.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

struct MenuHealthCases {
    struct Paused {
        std::optional<std::string> resumesAt;  ///< the time as the daemon words it
        bool operator==(const Paused&) const = default;
    };
    struct Attention {
        std::string line;
        bool operator==(const Attention&) const = default;
    };
    struct Recording {
        bool operator==(const Recording&) const = default;
    };
};

class MenuHealth : public ClosedVariant<MenuHealthCases, MenuHealthCases::Recording, MenuHealthCases::Paused,
                                        MenuHealthCases::Attention> {
  public:
    using ClosedVariant::ClosedVariant;

    bool isAlert() const { return is<Attention>(); }
    bool isPaused() const { return is<Paused>(); }

    static MenuHealth decide(const GatewayResponse& health, std::optional<DoorFault> fault, ClientProfile profile);
};

}  // namespace larkmoor

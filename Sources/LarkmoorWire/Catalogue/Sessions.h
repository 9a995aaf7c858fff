// Sessions of the agents: how they are named, offered and told.
#pragma once

#include "LarkmoorBase/Record.h"

namespace larkmoor {

LARKMOOR_RECORD(SessionLink, (std::string, id), (std::optional<std::string>, name))

LARKMOOR_RECORD(SessionBody, (std::optional<std::string>, started), (std::optional<std::string>, lastActive),
                (std::vector<std::string>, files), (Int, filesMore), (std::vector<std::string>, tickets),
                (Int, ticketsMore), (std::vector<std::string>, tail), (std::optional<std::string>, continuesFrom),
                (std::optional<SessionLink>, startedBy), (std::optional<SessionLink>, mainChat))

LARKMOOR_RECORD(SessionOfferRow, (std::string, id), (std::string, title), (std::string, when),
                (std::optional<std::string>, length), (std::optional<Int>, turns))

LARKMOOR_RECORD(SessionOffer, (std::string, scope), (std::vector<SessionOfferRow>, rows))

}  // namespace larkmoor

#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

LARKMOOR_COMPILE(GatewayResponse)

}  // namespace larkmoor

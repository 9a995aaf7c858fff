// Whether the event connection has to be opened again.
#pragma once

namespace larkmoor::SubscriptionGate {

constexpr bool shouldReopen(bool wantEvents, bool hasLiveConnection) { return wantEvents && !hasLiveConnection; }

}  // namespace larkmoor::SubscriptionGate

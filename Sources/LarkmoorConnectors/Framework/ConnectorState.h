// How a harness stands to us, over all that we wire into it.
#pragma once

#include <boost/describe.hpp>

namespace larkmoor {

/// Of `notFound` the configuration is not on this machine; `found` holds nothing of ours; in `connected` every block is
/// exactly what this build writes; `drifted` is all between.
BOOST_DEFINE_ENUM_CLASS(ConnectorState, notFound, found, connected, drifted)

}  // namespace larkmoor

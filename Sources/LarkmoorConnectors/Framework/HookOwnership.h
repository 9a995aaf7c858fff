// Whose a hook entry of ours is: this build's, or an earlier one's.
#pragma once

#include <boost/describe.hpp>

namespace larkmoor {

BOOST_DEFINE_ENUM_CLASS(HookOwnership, current, stale)

}  // namespace larkmoor

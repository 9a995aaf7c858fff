// Which of the two families of executables a build belongs to.
#pragma once

#include "LarkmoorBase/RawText.h"

namespace larkmoor {

BOOST_DEFINE_ENUM_CLASS(ClientProfile, dev, production)

/// A constant of the build.
inline constexpr ClientProfile currentProfile = ClientProfile::production;

constexpr bool isProduction() { return currentProfile == ClientProfile::production; }

}  // namespace larkmoor

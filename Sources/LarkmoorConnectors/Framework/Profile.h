// Which family of builds a retirement is for: the engineers' own, or everybody's.
#pragma once

#include <boost/describe.hpp>

namespace larkmoor::Connectors {

BOOST_DEFINE_ENUM_CLASS(Profile, dev, production)

}  // namespace larkmoor::Connectors

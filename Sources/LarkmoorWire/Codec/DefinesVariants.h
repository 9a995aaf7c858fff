// What a header needs that defines a closed variant through DefineVariant.inc.
#pragma once

#include <boost/preprocessor/cat.hpp>
#include <boost/preprocessor/stringize.hpp>

#include <string_view>

#include "LarkmoorWire/Codec/ClosedVariant.h"
#include "LarkmoorWire/Codec/Record.h"

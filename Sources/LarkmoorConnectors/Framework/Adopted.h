// What was the user's before and became part of our wiring. The text stands in receipts.
#pragma once

#include <boost/describe.hpp>

namespace larkmoor {

BOOST_DEFINE_ENUM_CLASS(Adopted, openCodeMCPEntryShell)

}  // namespace larkmoor

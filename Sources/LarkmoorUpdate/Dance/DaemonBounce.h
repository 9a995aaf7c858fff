// Whether the daemon is of an older build than this application, as after an update, and has to be restarted. Pure.
#pragma once

#include <sys/types.h>

#include <boost/describe.hpp>

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor::DaemonBounce {

BOOST_DEFINE_ENUM_CLASS(Verdict, leaveAlone, kickstart)

/// The build's number: nothing but digits.
std::optional<Int> build(std::string_view text);

/// A build that is no number is left alone.
Verdict decide(std::string_view ownBuild, std::string_view daemonBuild);

/// "gui/{uid}/{label}"
std::string kickstartTarget(uid_t uid, std::string_view label);

}  // namespace larkmoor::DaemonBounce

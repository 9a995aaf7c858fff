// The plugin that OpenCode loads in place of a hook file: one generated JavaScript file, ours as a whole. Pure
// functions; any thread.
#pragma once

#include <boost/describe.hpp>

#include <string>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor {

/// Which build wrote a file in the plugin's place: this one, an earlier one, or somebody else.
BOOST_DEFINE_ENUM_CLASS(PluginOwnership, current, stale, foreign)

namespace OpenCodePlugin {

/// The whole text of the file, which depends on the path of our hook alone.
std::string source(const std::string& hookBinary);

/// `stale` is a file that begins as every plugin of ours does, and may be replaced; a foreign one never is.
PluginOwnership ownership(BytesView of, const std::string& hookBinary);

/// Whether a line of the file says that it runs this hook.
bool runs(BytesView plugin, const std::string& hookBinary);

}  // namespace OpenCodePlugin

}  // namespace larkmoor

// The names that our programs share on the machine: bundle identifiers, labels, notifications and folders; and which of
// the two profiles this build has. Other code should use these constants instead of literals. Names that belong to one
// file, such as a D-Bus interface, are not here.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "LarkmoorBase/RawText.h"

namespace larkmoor {

BOOST_DEFINE_ENUM_CLASS(ClientProfile, dev, production)

/// A constant of the build.
inline constexpr ClientProfile currentProfile = ClientProfile::production;

constexpr bool isProduction() { return currentProfile == ClientProfile::production; }

namespace ClientInstance {

// What a dev build adds to its names. All are empty in this build, and no name below contains them.
inline constexpr std::string_view segment;
inline constexpr std::string_view dataSuffix;
inline constexpr std::string_view displaySuffix;

inline constexpr std::string_view bundlePrefix = "tools.fenwright.larkmoor";
/// The daemon's bundle identifier, launch-agent label and mach service name.
inline constexpr std::string_view gatewayID = "tools.fenwright.larkmoor.gateway";
/// This program's bundle identifier.
inline constexpr std::string_view menubarID = "tools.fenwright.larkmoor.menubar";
inline constexpr std::string_view settingsID = "tools.fenwright.larkmoor.settings";
/// The launch-agent label of the model host.
inline constexpr std::string_view ollamaAgentLabel = "tools.fenwright.larkmoor.ollama";
/// Distributed notification: open a pane of the settings application.
inline constexpr std::string_view openWindowNotification = "tools.fenwright.larkmoor.open-window";
/// Distributed notification: the first-run journey's window shows or hides.
inline constexpr std::string_view journeyVisibleNotification = "tools.fenwright.larkmoor.journey-visible";
inline constexpr std::string_view logSubsystem = "tools.fenwright.larkmoor";

/// The product's name in texts for the user.
inline constexpr std::string_view productName = "Larkmoor";
/// The folder under Application Support.
inline constexpr std::string_view supportDirName = "Larkmoor";
/// The folder in the home folder.
inline constexpr std::string_view dotRootName = ".larkmoor";
/// The same, as shown to the user.
inline constexpr std::string_view dotRoot = "~/.larkmoor";
inline constexpr std::string_view runbooksRoot = "~/.larkmoor/runbooks";
/// Marks a developer's build tree.
inline constexpr std::string_view distDirName = "dist";

inline constexpr std::string_view logStem = "larkmoor";
inline constexpr std::string_view daemonLogName = "larkmoor.log";
inline constexpr std::string_view traceLogName = "larkmoor-trace.log";
/// The model host's log.
inline constexpr std::string_view ollamaLogName = "larkmoor-ollama.log";
/// The store's file inside the support root.
inline constexpr std::string_view databaseName = "data.db";

/// Both profiles' folders under Application Support.
inline constexpr std::array<std::string_view, 2> allSupportDirNames{"Larkmoor", "Larkmoor Dev"};
/// Both profiles' bundle identifiers.
inline constexpr std::array<std::string_view, 6> allOwnBundleIDs{
    "tools.fenwright.larkmoor.gateway",  "tools.fenwright.larkmoor.dev.gateway",
    "tools.fenwright.larkmoor.settings", "tools.fenwright.larkmoor.dev.settings",
    "tools.fenwright.larkmoor.menubar",  "tools.fenwright.larkmoor.dev.menubar",
};

/// The product's folder in the home folder, absolute.
std::string dotRootExpanded(std::string_view home);
std::string runbooksRootExpanded(std::string_view home);

std::string daemonLogPath(std::string_view home);

/// The one folder of the store, the receipts, the markers and the progress files; `support` is Application Support.
std::string supportRoot(std::string_view support);

/// Whether the path lies in a support folder of either profile. Follows symbolic links; apart from that it compares
/// text only, so that a path that does not exist has an answer too.
bool isUnderAnySupportRoot(std::string_view path);

}  // namespace ClientInstance

}  // namespace larkmoor

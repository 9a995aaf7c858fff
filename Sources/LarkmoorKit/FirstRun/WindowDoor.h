// The protocol with the settings application: requests for a window, and the automatic-update setting.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorPlatform/UserDefaults.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace WindowDoor {

/// The enumerator's name is the notification's object and the value in the argument.
BOOST_DEFINE_ENUM_CLASS(Pane, settings, stats, editor, onboarding)

/// The name of the distributed notification that asks a running settings application for a window.
inline constexpr std::string_view notification = ClientInstance::openWindowNotification;

using UserInfo = std::map<std::string, std::string>;

/// "--window={pane}": what a settings application is started with.
std::string argument(Pane pane);
/// The first argument that names a pane; other arguments are ignored.
std::optional<Pane> requested(std::span<const std::string> arguments);

/// The notification's dictionary; nullopt if the window may stay behind others.
std::optional<UserInfo> userInfo(bool front);
bool wantsFront(const UserInfo& userInfo);

/// The window that a second start of this application asks for; nullopt if the answer is not known.
constexpr std::optional<Pane> paneOnReopen(bool journeyVisible, std::optional<bool> journeyWarranted) {
    if (journeyVisible) return Pane::onboarding;
    if (!journeyWarranted) return std::nullopt;
    return *journeyWarranted ? Pane::onboarding : Pane::settings;
}

namespace Journey {

BOOST_DEFINE_ENUM_CLASS(Action, build, refresh, front, nothing)

}  // namespace Journey

/// What the settings application does when it is asked for its journey window.
constexpr Journey::Action journeyDoor(bool exists, bool live, bool front) {
    if (!exists) return Journey::Action::build;
    if (!live) return Journey::Action::refresh;
    return front ? Journey::Action::front : Journey::Action::nothing;
}

}  // namespace WindowDoor

/// Whether updates install by themselves: written by the settings application.
namespace UpdateOptIn {

inline constexpr const char* key = "SUAutomaticallyUpdate";

/// Opens a suite by its name; null if it cannot be opened.
using OpenSuite = std::function<std::shared_ptr<UserDefaults>(const std::string& suite)>;

/// Stores the choice in the suite named by `menubarID`, where the updater reads it. A failure is ignored.
void write(bool value, const std::string& menubarID, const OpenSuite& open);

}  // namespace UpdateOptIn

}  // namespace larkmoor

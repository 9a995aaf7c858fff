// How the menu asks the settings application for one of its windows.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor::WindowDoor {

/// The word of a pane is what travels, as a notification's object or in the argument.
BOOST_DEFINE_ENUM_CLASS(Pane, settings, stats, editor, onboarding)

inline constexpr std::string_view notification = ClientInstance::openWindowNotification;

using UserInfo = std::map<std::string, std::string>;

/// "--window={pane}"
std::string argument(Pane pane);
/// The first argument that names a pane; unknown words are passed over.
std::optional<Pane> requested(std::span<const std::string> arguments);

/// Nothing if the window may stay behind others.
std::optional<UserInfo> userInfo(bool front);
bool wantsFront(const UserInfo& userInfo);

namespace Journey {

BOOST_DEFINE_ENUM_CLASS(Action, build, refresh, front, nothing)

}  // namespace Journey

/// What the settings application does about its journey window when asked for it.
constexpr Journey::Action journeyDoor(bool exists, bool live, bool front) {
    if (!exists) return Journey::Action::build;
    if (!live) return Journey::Action::refresh;
    return front ? Journey::Action::front : Journey::Action::nothing;
}

}  // namespace larkmoor::WindowDoor

// Why the bus or a peer on it did not do what was asked.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor {

/// `name` is the error's name on the bus ("org.freedesktop.DBus.Error.ServiceUnknown"); `message` is for a log.
struct [[nodiscard]] BusError {
    std::string name;
    std::string message;

    /// "{name}: {message}"
    std::string description() const { return name + ": " + message; }

    bool operator==(const BusError&) const = default;
};

namespace BusErrorName {

inline constexpr std::string_view accessDenied = "org.freedesktop.DBus.Error.AccessDenied";
inline constexpr std::string_view disconnected = "org.freedesktop.DBus.Error.Disconnected";
inline constexpr std::string_view failed = "org.freedesktop.DBus.Error.Failed";
inline constexpr std::string_view limitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
inline constexpr std::string_view nameHasNoOwner = "org.freedesktop.DBus.Error.NameHasNoOwner";
inline constexpr std::string_view noReply = "org.freedesktop.DBus.Error.NoReply";
inline constexpr std::string_view serviceUnknown = "org.freedesktop.DBus.Error.ServiceUnknown";

}  // namespace BusErrorName

}  // namespace larkmoor

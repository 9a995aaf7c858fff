// Translates the daemon's answers for the menu: health, the recording status that follows from it, whether only the
// setup's rows are shown, and when a series of refusals is logged. Pure. The daemon answers health with the plain
// `Text` case: "healthy" is Recording, a text with "paused" or "stopped" is Paused (until the time after "resumes "),
// any other text is shown as it is.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorKit/Door/DoorFault.h"
#include "LarkmoorPlatform/StatusItem.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

struct MenuHealthCases {
    struct Paused {
        std::optional<std::string> resumesAt;  ///< the time as text of the daemon
        bool operator==(const Paused&) const = default;
    };
    struct Attention {
        std::string line;
        bool operator==(const Attention&) const = default;
    };
    struct Recording {
        bool operator==(const Recording&) const = default;
    };
};

class MenuHealth : public ClosedVariant<MenuHealthCases, MenuHealthCases::Recording, MenuHealthCases::Paused,
                                        MenuHealthCases::Attention> {
  public:
    using ClosedVariant::ClosedVariant;

    bool isAlert() const { return is<Attention>(); }
    bool isPaused() const { return is<Paused>(); }

    static MenuHealth decide(const GatewayResponse& health, std::optional<DoorFault> fault, ClientProfile profile);
};

namespace MenuMode {

/// The tag of the rows that stay in setup mode.
inline constexpr int staysInSetup = 1;

/// Setup mode: the journey's window is on the screen or, as far as was last known, the journey has steps left.
constexpr bool wantsSetup(bool journeyVisible, std::optional<bool> lastWarranted) {
    return journeyVisible || lastWarranted.value_or(false);
}

/// No alert is shown during the first setup.
constexpr bool showsAlert(bool journeyVisible, std::optional<bool> lastWarranted) {
    return !wantsSetup(journeyVisible, lastWarranted);
}

}  // namespace MenuMode

/// What the icon, the status line and the pause rows show.
struct RecordingStatus {
    bool paused = false;
    std::optional<std::string> resumesAt{};  ///< while paused, if the daemon sends it
    bool alert = false;
    std::optional<DoorFault> alertFault{};  ///< decides the icon's label while `alert`
    std::string line = "Recording";         ///< the status line's title
    bool hasRecordingDot = true;            ///< before the status line
    FrontRecording lastFront = FrontRecording::full;

    /// The status after an answer about the health; `fault` is that of the same answer.
    RecordingStatus after(const MenuHealth& health, std::optional<DoorFault> fault, bool showsAlert) const;

    StatusIcon icon() const;
    /// The icon's label, which a tray shows as its tooltip too.
    std::string iconLabel() const;
    /// The title of the row that ends a pause.
    std::string resumeTitle() const;

    bool operator==(const RecordingStatus&) const = default;
};

/// Measures how long the daemon has refused us without a break, so that this is logged once. Any other answer ends the
/// run.
struct RefusalRun {
    using Time = std::chrono::system_clock::time_point;

    std::optional<Time> refusedSince{};
    bool reportedRefusal = false;

    /// The line for the platform's log, written once in a run.
    static constexpr std::string_view line =
        "[larkmoor-menu] the daemon has been up and refusing this connection for 45s — it is judging this process's "
        "code identity, which no reconnect can change. This menu must be restarted to talk to it again (m:227).";

    /// Counts the fault of one refresh; true if the line is due now.
    [[nodiscard]] bool note(std::optional<DoorFault> fault, Time now);
};

}  // namespace larkmoor

// What a person sees of the menu in each of its states.
#pragma once

#include <string>
#include <vector>

namespace larkmoor::testing {

inline const std::string header = "Larkmoor (v2.1 · build 340)";

inline std::vector<std::string> recordingMenu(const std::string& status) {
    return {header,
            "-",
            status,
            "• Pause 15 minutes",
            "• Pause 1 hour",
            "• Stop",
            "-",
            "Stats",
            "-",
            "Settings",
            "-",
            "Check for Update…",
            "-",
            "Quit"};
}
inline std::vector<std::string> pausedMenu(const std::string& resume) {
    return {header, "-", resume, "-", "Stats", "-", "Settings", "-", "Check for Update…", "-", "Quit"};
}
inline std::vector<std::string> setupMenu(const std::string& status) {
    return {header, "Finish setting up Larkmoor…", status, "• Pause 15 minutes", "• Pause 1 hour", "• Stop", "Quit"};
}

inline const std::string remembering = "Larkmoor — remembering this screen";
inline const std::string attentionLabel = "Larkmoor — attention";
inline const std::string absentLine = "Larkmoor isn't running — start it to access your memory.";
inline const std::string refusedLine = "Larkmoor is running but this menu needs a restart to reconnect.";
inline const std::string silentLine =
    "Larkmoor is running but did not answer in 3s — it may be busy starting up; try again in a moment.";
inline const std::string skewLine = "Larkmoor is finishing an update — this window will reconnect by itself.";

}  // namespace larkmoor::testing

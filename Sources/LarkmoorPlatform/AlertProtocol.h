// How the menu asks the helper for an alert, and how the helper answers.
//
// The request comes on standard input: fields NAME=VALUE with a NUL at the end of each, in UTF-8, `build` first. The
// answer is one line on standard output. A helper that cannot answer says why on standard error, and by its exit
// status.
#pragma once

#include <string_view>

namespace larkmoor::AlertProtocol {

inline constexpr std::string_view build = "build";  ///< the asker's; a helper of another build refuses
inline constexpr std::string_view asker = "asker";  ///< process number; the alert ends with that process
inline constexpr std::string_view style = "style";  ///< informational, warning or critical
inline constexpr std::string_view message = "message";
inline constexpr std::string_view text = "text";
inline constexpr std::string_view button = "button";  ///< one for each, in order
inline constexpr std::string_view icon = "icon";      ///< "application", or the field is missing

inline constexpr std::string_view chosen = "chosen ";  ///< and the button's place, from 0
inline constexpr std::string_view dismissed = "dismissed";

enum ExitStatus : int {
    answered = 0,
    badRequest = 2,
    otherBuild = 3,
    noDisplay = 4,
    noAsker = 5,
};

}  // namespace larkmoor::AlertProtocol

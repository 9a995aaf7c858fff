// The protocol between the application and its alert helper.
//
// The request is written to the helper's standard input: fields NAME=VALUE in UTF-8, each ended by a NUL, `build`
// first. The helper writes lines to standard output: `shown` once the user can see the window, and then the answer. A
// helper that fails explains it on standard error and exits with one of the statuses below.
#pragma once

#include <string_view>

namespace larkmoor::AlertProtocol {

inline constexpr std::string_view build = "build";  ///< of the application; a helper of another build refuses
inline constexpr std::string_view asker = "asker";  ///< process id; the alert ends with that process
inline constexpr std::string_view style = "style";  ///< informational, warning or critical
inline constexpr std::string_view message = "message";
inline constexpr std::string_view text = "text";
inline constexpr std::string_view button = "button";  ///< one field for each, in order
inline constexpr std::string_view icon = "icon";      ///< "application", or the field is missing

inline constexpr std::string_view shown = "shown";
inline constexpr std::string_view chosen = "chosen ";  ///< followed by the button's index, from 0
inline constexpr std::string_view dismissed = "dismissed";

enum ExitStatus : int {
    answered = 0,
    badRequest = 2,
    otherBuild = 3,
    noDisplay = 4,
    noAsker = 5,
};

}  // namespace larkmoor::AlertProtocol

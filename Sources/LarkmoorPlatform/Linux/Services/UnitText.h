// How text stands in a unit file (systemd.syntax(7), systemd.unit(5)): quotes, escapes and specifiers.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::UnitText {

/// One word in quotes, read back as `text`; nothing if a control character is in it.
std::optional<std::string> quoted(std::string_view text);

/// An absolute path as the rest of a line, which nothing quotes; nothing for one that would read as another.
std::optional<std::string> path(std::string_view path);
/// Back from `path`.
std::string plainPath(std::string_view text);

/// Whether the text can be the part of a unit's name before its type.
bool isName(std::string_view text);

/// Whether the text can name a variable of an environment.
bool isVariable(std::string_view text);

}  // namespace larkmoor::UnitText

// Quoting and escaping for unit files (systemd.syntax(7), systemd.unit(5)).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::UnitText {

/// One quoted word that systemd parses back to `text`; nullopt for text with control characters or invalid UTF-8.
std::optional<std::string> quoted(std::string_view text);

/// An absolute path as an unquoted value to the end of the line; nullopt for a path that would be parsed differently.
std::optional<std::string> path(std::string_view path);
/// The inverse of `path`.
std::string unescapedPath(std::string_view text);

/// Whether the text is valid as a unit's name without its suffix.
bool isName(std::string_view text);

/// Whether the text is valid as the name of an environment variable.
bool isVariable(std::string_view text);

}  // namespace larkmoor::UnitText

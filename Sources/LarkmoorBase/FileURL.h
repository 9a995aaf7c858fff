// file: URLs (RFC 8089).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::FileURL {

/// The absolute path that the URL names, percent-decoded, without a slash at its end unless it is the root; query and
/// fragment are ignored. nullopt for another scheme, for an authority other than "" and "localhost", for a relative
/// path, and for escapes that are malformed or do not decode to UTF-8 without a NUL. Characters that should be escaped
/// are taken as they are.
std::optional<std::string> path(std::string_view url);

}  // namespace larkmoor::FileURL

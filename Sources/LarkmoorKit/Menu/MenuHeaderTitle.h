// The menu's first row: which build this is.
#pragma once

#include <fmt/format.h>

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::MenuHeaderTitle {

inline constexpr std::string_view unknown = "?";

inline std::string title(std::string_view product, const std::optional<std::string>& version,
                         const std::optional<std::string>& build) {
    return fmt::format("{} (v{} · build {})", product, version.value_or(std::string{unknown}),
                       build.value_or(std::string{unknown}));
}

}  // namespace larkmoor::MenuHeaderTitle

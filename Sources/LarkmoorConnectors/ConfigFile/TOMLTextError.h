// Why a file is no TOML whose parts we can tell apart, and where.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace larkmoor {

struct [[nodiscard]] TOMLTextError {
    std::int64_t offset = 0;  ///< in bytes from the start of the file
    std::string reason;

    static TOMLTextError unreadable(std::int64_t offset, std::string reason) { return {offset, std::move(reason)}; }

    /// "{reason} (at byte {offset})", for a person.
    std::string description() const { return reason + " (at byte " + std::to_string(offset) + ")"; }

    bool operator==(const TOMLTextError&) const = default;
};

}  // namespace larkmoor

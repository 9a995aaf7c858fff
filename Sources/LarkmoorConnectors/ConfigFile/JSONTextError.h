// Why a document is no JSON that we fully understand, and where.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace larkmoor {

struct [[nodiscard]] JSONTextError {
    std::int64_t offset = 0;  ///< in bytes from the start of the document
    std::string reason;

    static JSONTextError unreadable(std::int64_t offset, std::string reason) { return {offset, std::move(reason)}; }

    /// "{reason} (at byte {offset})", for a person.
    std::string description() const { return reason + " (at byte " + std::to_string(offset) + ")"; }

    bool operator==(const JSONTextError&) const = default;
};

}  // namespace larkmoor

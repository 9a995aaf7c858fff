// Why a value has no JSON form, or a document no value.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor {

/// `path` names the place from the outside in: "cards[3].id"; an unlabelled payload adds nothing to it.
struct [[nodiscard]] CodingFailure {
    std::string path;
    std::string reason;

    /// "{path}: {reason}", or the reason alone for the whole document.
    std::string description() const { return path.empty() ? reason : path + ": " + reason; }

    bool operator==(const CodingFailure&) const = default;
};

}  // namespace larkmoor

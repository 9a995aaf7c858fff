#include "LarkmoorUpdate/Row/UpdateMenuAnswer.h"

#include <fmt/format.h>

#include "LarkmoorBase/Text.h"

namespace larkmoor {

std::optional<std::string> UpdateMenuAnswer::sentence() const {
    using Sentence = std::optional<std::string>;
    return visit(
        [](const UpToDate& answer) -> Sentence {
            if (trimmed(answer.displayVersion).empty()) return "You're up to date";
            return fmt::format("You're up to date (v{})", answer.displayVersion);
        },
        [](const Failed& answer) -> Sentence {
            return fmt::format("Larkmoor couldn't check for updates: {}", answer.reason);
        },
        [](const UpdateOffered&) -> Sentence { return std::nullopt; },
        [](const NoFeed&) -> Sentence {
            return "Larkmoor couldn't check for updates. Please download the latest version from "
                   "https://larkmoor.fenwright.tools";
        });
}

}  // namespace larkmoor

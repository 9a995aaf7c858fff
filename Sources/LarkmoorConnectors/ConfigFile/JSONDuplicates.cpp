#include "LarkmoorConnectors/ConfigFile/JSONDuplicates.h"

#include <fmt/format.h>

#include <string_view>
#include <unordered_set>

namespace larkmoor::JSONDuplicates {

std::optional<std::string> reason(const JSONNode& object) {
    std::unordered_set<std::string_view> seen;
    for (const JSONMember& member : object.members()) {
        if (seen.insert(member.key.view()).second) continue;
        return fmt::format("the name \"{}\" appears twice in one object (at byte {})", member.key.view(),
                           member.keyStart);
    }
    return std::nullopt;
}

}  // namespace larkmoor::JSONDuplicates

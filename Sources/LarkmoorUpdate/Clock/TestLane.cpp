#include "LarkmoorUpdate/Clock/TestLane.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "LarkmoorBase/Text.h"
#include "LarkmoorUpdate/Clock/UpdateCadence.h"

namespace larkmoor::TestLane {

DefaultsValue defaultsValue(const UserDefaults& defaults) {
    if (const auto flag = defaults.flag(defaultsKey)) return *flag;
    if (auto text = defaults.string(defaultsKey)) return std::move(*text);
    return std::nullopt;
}

bool armed(const DefaultsValue& value) {
    if (!value) return false;
    if (const auto* flag = std::get_if<bool>(&*value)) return *flag;
    constexpr std::string_view yes[] = {"1", "true", "yes", "y", "on"};
    return std::ranges::find(yes, lowercased(std::get<std::string>(*value))) != std::end(yes);
}

std::chrono::seconds cadence(const DefaultsValue& value) {
    return std::chrono::seconds{armed(value) ? UpdateCadence::testLaneEverySeconds
                                             : UpdateCadence::liveCheckEverySeconds};
}

}  // namespace larkmoor::TestLane

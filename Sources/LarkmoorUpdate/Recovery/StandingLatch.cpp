#include "LarkmoorUpdate/Recovery/StandingLatch.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/WholeNumber.h"

namespace larkmoor {

namespace {

constexpr std::string_view latchLine = "LATCH   ";

/// The last value of the key; "" without one.
std::string_view valueOf(std::string_view text, std::string_view key) {
    std::string_view value;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        const auto blank = line.find(' ');
        if (blank != line.npos && line.substr(0, blank) == key) value = trimmed(line.substr(blank + 1));
    }
    return value;
}

/// A decimal number of at least 1.
template <class Number>
std::optional<Number> positive(std::string_view text) {
    const auto number = wholeNumber<Number>(text);
    return number >= Number{1} ? number : std::nullopt;
}

}  // namespace

StandingLatch StandingLatch::judge(std::string_view text, const StartTimeOfPid& startTimeOfPid) {
    const auto pid = positive<std::int32_t>(valueOf(text, "pid"));
    const auto startedAt = positive<std::int64_t>(valueOf(text, "started-at-us"));
    if (!pid || !startedAt) return Stale{};
    const auto start = startTimeOfPid(*pid);
    const auto microseconds = [](auto time) {
        return std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
    };
    if (start && microseconds(*start) == *startedAt) return HeldByLiveMigrator{*pid};
    return Stale{*pid};
}

bool StandingLatch::log(const std::vector<std::string>& lines, std::int32_t namesPid) {
    const std::string name = fmt::format(" · pid {}", namesPid);
    return std::ranges::any_of(lines, [&](const std::string& line) {
        if (!line.starts_with(latchLine)) return false;
        for (auto at = line.find(name); at != line.npos; at = line.find(name, at + 1)) {
            const auto behind = at + name.size();
            if (behind == line.size() || line[behind] == ' ') return true;
        }
        return false;
    });
}

std::optional<std::int32_t> StandingLatch::pid(const std::vector<std::string>& ofLog) {
    constexpr std::string_view name = " · pid ";
    std::optional<std::int32_t> last;
    for (const std::string_view line : ofLog) {
        const auto at = line.starts_with(latchLine) ? line.find(name) : line.npos;
        if (at == line.npos) continue;
        const std::string_view number = line.substr(at + name.size());
        if (const auto pid = positive<std::int32_t>(number.substr(0, number.find(' ')))) last = pid;
    }
    return last;
}

}  // namespace larkmoor

#include "LarkmoorUpdate/Recovery/VouchedBackup.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/WholeNumber.h"

namespace larkmoor {

namespace {

std::optional<double> fraction(std::string_view text) {
    double number = 0;
    const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failed == std::errc{} && end == text.data() + text.size() ? std::optional{number} : std::nullopt;
}

/// A number of bytes that may be beyond what a size can be.
std::int64_t clamped(double bytes) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    return bytes >= static_cast<double>(most) ? most : static_cast<std::int64_t>(bytes);
}

/// The Migrator rounds what it prints: the value is known to half a unit of its last digit.
VouchedBackup::Window window(double value, double unit, double half) {
    return {.low = clamped(std::max(0.0, std::floor(unit * (value - half)))),
            .high = clamped(std::ceil(unit * (value + half)))};
}

/// The parts between " · ".
std::vector<std::string_view> parts(std::string_view line) {
    constexpr std::string_view separator = " · ";
    std::vector<std::string_view> found;
    for (auto at = line.find(separator); at != line.npos; at = line.find(separator)) {
        found.push_back(line.substr(0, at));
        line.remove_prefix(at + separator.size());
    }
    found.push_back(line);
    return found;
}

}  // namespace

std::optional<VouchedBackup::Window> VouchedBackup::bytes() const {
    if (!statedSize) return std::nullopt;
    const std::string_view text = *statedSize;
    const auto blank = text.find(' ');
    if (blank == text.npos) return std::nullopt;
    const std::string_view number = text.substr(0, blank);
    const std::string_view unit = text.substr(blank + 1);
    const auto value = fraction(number);
    if (!value || !std::isfinite(*value) || *value < 0) return std::nullopt;
    if (unit == "B") {
        const auto exact = wholeNumber<std::int64_t>(number);
        return exact ? std::optional{Window{*exact, *exact}} : std::nullopt;
    }
    if (unit == "MB") return window(*value, 1048576, 0.05);
    if (unit == "GB") return window(*value, 1073741824, 0.005);
    return std::nullopt;
}

std::optional<VouchedBackup> VouchedBackup::read(const std::vector<std::string>& fromApplyLog) {
    constexpr std::string_view arrow = " → ";
    std::optional<VouchedBackup> vouched;
    std::string pending;
    for (const std::string& text : fromApplyLog) {
        const std::string_view line = text;
        if (!line.starts_with("BACKUP  ")) continue;
        // The store's own path stands before it, and may hold an arrow, too.
        const auto absolute = line.find(std::string{arrow} + "/");
        if (const auto at = absolute == line.npos ? line.find(arrow) : absolute; at != line.npos) {
            pending = trimmed(line.substr(at + arrow.size()));
            // No file has such a name; the system would read half of it.
            if (pending.contains('\0')) pending.clear();
        } else if (line.starts_with("BACKUP  verified") && !pending.empty()) {
            vouched = VouchedBackup{.path = std::exchange(pending, {})};
            const auto told = parts(line);
            if (told.size() >= 3 && !trimmed(told[2]).empty()) vouched->statedSize = trimmed(told[2]);
        }
    }
    return vouched;
}

RestoreOutcome RestoreOutcome::ofFile(const VouchedBackup& backup, std::optional<std::int64_t> size,
                                      bool isPlaintextSQLite) {
    if (!size) return Refused{backup.path + " is not a file this Mac can measure"};
    if (*size < 1) return Refused{backup.path + " is EMPTY, so it is not an undo"};
    if (const auto window = backup.bytes()) {
        if (window->contains(*size)) {
            return Restored{
                fmt::format("{} bytes, inside the {} the apply log vouched for", *size, *backup.statedSize)};
        }
        return Refused{
            fmt::format("{} is {} bytes and the apply log vouched for {} ({}–{} bytes, the window that size "
                        "was rounded from) — this is not the copy the Migrator verified",
                        backup.path, *size, *backup.statedSize, window->low, window->high)};
    }
    if (isPlaintextSQLite) {
        return Restored{fmt::format(
            "{} bytes behind a plaintext SQLite header; the apply log stated no size this build could read", *size)};
    }
    return Restored{
        fmt::format("{} bytes; the apply log stated no size this build could read and the copy is not "
                    "plaintext, so nothing further about it could be checked",
                    *size)};
}

}  // namespace larkmoor

#include "LarkmoorConnectors/OpenCode/OpenCodeSessionStore.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <map>
#include <tuple>
#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/UTF8.h"
#include "LarkmoorConnectors/OpenCode/SQLiteReader.h"

namespace larkmoor::OpenCodeSessionStore {

namespace {

using TimePoint = std::chrono::system_clock::time_point;
using std::chrono::milliseconds;

constexpr SQLiteReader::Limits limits{.busy = milliseconds{1500}, .total = std::chrono::seconds{10}};

/// Of folders' names, and of what it takes to keep each.
constexpr std::size_t maxHeld = std::size_t{256} << 20U, heldBeside = 64;

/// Within what the clock can count.
TimePoint timePoint(milliseconds since1970) {
    constexpr auto latest = std::chrono::floor<milliseconds>(TimePoint::max().time_since_epoch());
    return TimePoint{std::min(since1970, latest)};
}

std::string_view words(SQLiteReader::Failure::Step step) {
    switch (step) {
        case SQLiteReader::Failure::Step::open:
            return "it would not open";
        case SQLiteReader::Failure::Step::prepare:
            return "the session query would not prepare";
        case SQLiteReader::Failure::Step::row:
            return "a row would not read";
    }
    std::unreachable();
}

bool isFolderName(std::string_view text) { return !text.empty() && !text.contains('\0') && UTF8::isValid(text); }

}  // namespace

std::optional<std::vector<std::string>> answers(const std::string& path, const std::string& sql) {
    std::vector<std::string> answers;
    const auto read = SQLiteReader::rows(path, sql, limits, [&](const auto& column) {
        const auto value = column(0);
        const auto* text = std::get_if<std::string_view>(&value);
        answers.emplace_back(text == nullptr ? std::string_view{} : *text);
        return true;
    });
    return read ? std::optional{std::move(answers)} : std::nullopt;
}

std::optional<Writer> writer(const std::string& of) {
    if (Files::isAbsent(of)) return std::nullopt;
    const auto tables =
        answers(of, "SELECT name FROM sqlite_master WHERE type = 'table' AND name IN ('session', 'session_v2')");
    const auto has = [&](std::string_view table) {
        return tables && std::ranges::find(*tables, table) != tables->end();
    };
    if (has("session_v2")) return Writer::openCode2;
    return has("session") ? Writer::openCode1 : Writer::unknown;
}

bool isOpenCode1StillUsed(const std::string& in, TimePoint now) {
    constexpr std::chrono::seconds week{604800};
    const auto cutoff = std::chrono::duration_cast<milliseconds>((now - week).time_since_epoch()).count();
    const auto rows =
        answers(in, fmt::format("SELECT id FROM session WHERE time_updated > (SELECT time_updated FROM kv "
                                "WHERE key = 'migration.v1-v2') AND time_updated >= {} LIMIT 1",
                                cutoff));
    return rows && !rows->empty();
}

std::expected<Decoded, Refusal> read(const std::string& path) {
    // The rows of a view may never end.
    const auto views = answers(path, "SELECT 1 FROM sqlite_master WHERE type = 'view' AND lower(name) = 'session_v2'");
    if (views && !views->empty()) return std::unexpected{Refusal{"session_v2 is a view, not a table"}};
    std::map<std::string, std::int64_t, std::less<>> newest;
    std::size_t held = 0;
    Decoded decoded;
    const auto read =
        SQLiteReader::rows(path, "SELECT directory, time_updated FROM session_v2", limits, [&](const auto& column) {
            const auto first = column(0), second = column(1);
            const auto* directory = std::get_if<std::string_view>(&first);
            const auto* time = std::get_if<std::int64_t>(&second);
            if (directory == nullptr || !isFolderName(*directory) || time == nullptr || *time < 1) {
                ++decoded.skipped;
                return true;
            }
            const auto known = newest.find(*directory);
            if (known == newest.end()) {
                newest.emplace(*directory, *time);
                held += directory->size() + heldBeside;
            } else {
                known->second = std::max(known->second, *time);
            }
            return held <= maxHeld;
        });
    if (!read) return std::unexpected{Refusal{read.error().text.value_or(std::string{words(read.error().step)})}};
    while (!newest.empty()) {
        auto each = newest.extract(newest.begin());
        decoded.sightings.push_back({std::move(each.key()), timePoint(milliseconds{each.mapped()})});
    }
    std::ranges::sort(decoded.sightings, [](const Sighting& left, const Sighting& right) {
        return std::tie(right.lastActivity, left.directory) < std::tie(left.lastActivity, right.directory);
    });
    return decoded;
}

}  // namespace larkmoor::OpenCodeSessionStore

// Warm-up: runs the bundled hook once for each build, before the user's first prompt. The first launch of a new
// executable is slow, and a hook has only seconds.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorBase/RawText.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor::FirstRunWarm {

BOOST_DEFINE_ENUM_CLASS(Outcome, ok, timeout, failed)

/// Which build was warmed up, and with what outcome: a file of one line in the support root.
struct Marker {
    std::string build;
    Outcome outcome{};
    long long milliseconds = 0;

    /// "build={build} outcome={outcome} ms={milliseconds}" and a line feed.
    std::string line() const;
    /// nullopt if a field is missing or malformed; unknown fields are ignored.
    static std::optional<Marker> parse(std::string_view text);

    bool operator==(const Marker&) const = default;
};

struct ResultCases {
    struct Warmed {
        Outcome outcome{};
        long long milliseconds = 0;
        bool operator==(const Warmed&) const = default;
    };
    struct AlreadyWarm {
        bool operator==(const AlreadyWarm&) const = default;
    };
};

class Result : public ClosedVariant<ResultCases, ResultCases::Warmed, ResultCases::AlreadyWarm> {
  public:
    using ClosedVariant::ClosedVariant;
};

inline constexpr std::string_view markerFileName = "warmed-build";
inline constexpr std::chrono::seconds productionLeash{20};
/// Bytes. A payload up to this size fits the buffer of a pipe and can be written before anyone reads it.
inline constexpr std::size_t payloadPipeBound = 16384;

/// `support` is Application Support.
std::string path(std::string_view support);

/// Whether this build was warmed up, with any outcome: a warm-up that failed is not repeated.
bool isWarm(const std::string& marker, std::string_view build);

/// What the hook reads: a JSON object with a prompt.
Bytes payload(std::string_view home);

struct Seams {
    ProcessRunner& runner;
    std::function<void(std::string)> setupLog;
    std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
};

/// Main thread. Ends two seconds after `leash`, the time limit, at the latest. The runner must outlive the task.
Task<Result> run(std::string hook, std::string build, std::string marker, std::chrono::seconds leash, std::string home,
                 Seams seams);

/// Runs the hook with the input. Its exit status is ignored: it only has to be loaded.
Task<Outcome> fire(std::string hook, Bytes input, std::chrono::seconds leash, Seams seams);

}  // namespace larkmoor::FirstRunWarm

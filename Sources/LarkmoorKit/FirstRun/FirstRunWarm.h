// Runs the bundled hook once before the person's first prompt: the first launch of a new executable is slow, and a hook
// has only seconds.
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

/// Which build was warmed, and how it went: one line in the support root.
struct Marker {
    std::string build;
    Outcome outcome{};
    long long milliseconds = 0;

    /// "build={build} outcome={outcome} ms={milliseconds}" and a line feed.
    std::string line() const;
    /// Nothing if a field is missing or is not what it should be; unknown fields are passed over.
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
/// A payload up to here fits the buffer of a pipe and can be written before anyone reads it.
inline constexpr std::size_t payloadPipeBound = 16384;

/// `support` is Application Support.
std::string path(std::string_view support);

/// Whether this build was warmed here, however that went: a warm-up that failed is not repeated.
bool isWarm(const std::string& marker, std::string_view build);

/// The prompt that the hook is given.
Bytes payload(std::string_view home);

struct Seams {
    ProcessRunner& runner;
    std::function<void(std::string)> setupLog;
    std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
};

/// Main thread; ends within the leash and two seconds. What the runner refers to outlives the task.
Task<Result> run(std::string hook, std::string build, std::string marker, std::chrono::seconds leash, std::string home,
                 Seams seams);

/// Runs the hook with the input. How it exits is not looked at: that it was loaded is what counts.
Task<Outcome> fire(std::string hook, Bytes input, std::chrono::seconds leash, Seams seams);

}  // namespace larkmoor::FirstRunWarm

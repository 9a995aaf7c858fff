#include "LarkmoorPlatform/Spawn.h"

#include <fmt/format.h>

namespace larkmoor::Spawning {

void report(const std::exception_ptr& escaped) {
    if (!escaped) return;
    try {
        std::rethrow_exception(escaped);
    } catch (const std::exception& error) {
        platformLog(fmt::format("[larkmoor-menu] a task ended with an error that nobody expected: {}", error.what()));
    } catch (...) {
        platformLog("[larkmoor-menu] a task ended with an error that nobody expected");
    }
}

Task<void> toItsEnd(std::function<Task<void>()> function) {
    try {
        co_await function();
    } catch (...) {
        report(std::current_exception());
    }
}

}  // namespace larkmoor::Spawning

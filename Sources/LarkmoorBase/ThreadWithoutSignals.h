// Threads beside the main one.
#pragma once

#include <functional>
#include <thread>

namespace larkmoor {

/// Starts a thread that blocks all signals, which are for the main thread. Any thread; throws what std::thread throws.
std::thread threadWithoutSignals(std::function<void()> body);

}  // namespace larkmoor

// How the first-run journey, another program of the family, has the setup of the local models cancelled, and learns
// that all of it is undone.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

class DistributedNotifications;

namespace LocalModelsDoor {

inline constexpr const char* cancelNotification = "tools.fenwright.larkmoor.cancel-local-models";

/// The file whose presence says that the undo is complete. `support` is Application Support.
std::string receiptPath(std::string_view support);

/// Asks for the cancel. Main thread.
void postCancel(DistributedNotifications& notifications);

/// Writes the receipt, "cancelled at {date}"; a failure is ignored. Blocks.
void writeReceipt(const std::string& path);

/// Waits for the receipt, looking for it every `every`; false if it does not come within `timeout`. Main thread.
Task<bool> awaitReceipt(std::string path, std::chrono::milliseconds timeout, std::chrono::milliseconds every);

}  // namespace LocalModelsDoor

}  // namespace larkmoor

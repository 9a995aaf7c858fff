// One download of a model by the model host, which fetches and keeps it; we read how far it is.
#pragma once

#include <expected>
#include <functional>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"
#include "LarkmoorLocalModels/Runtime/ModelHost.h"

namespace larkmoor {

/// Takes the lines for the setup log. Any thread.
using SetupLogger = std::function<void(std::string)>;

/// Asks the host to download the model and waits for the end; an hour of silence ends it, too. `progress` is told of
/// each step by which the fraction grows, never of one back; the bytes alone may shrink, with the total. When it is
/// stopped, the host sees the connection close within a second, and keeps what it has for the next time; the error is
/// "cancelled". Main thread.
Task<std::expected<void, SetupError>> pullOnce(ModelHost host, std::string name, TransferListener progress,
                                               SetupLogger log);

}  // namespace larkmoor

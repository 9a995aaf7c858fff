// The message service of the machine: what a client dials and what a server listens on.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "LarkmoorPlatform/MessageConnection.h"
#include "LarkmoorPlatform/MessageListener.h"

namespace larkmoor {

/// Makes a connection to the named service, suspended. It costs nothing, and touches nothing, until its first message.
using Dial = std::function<std::shared_ptr<MessageConnection>(const std::string& serviceName)>;

}  // namespace larkmoor

#include "LarkmoorKit/Supervision/QuitSentinel.h"

#include <fmt/chrono.h>
#include <unistd.h>

#include <chrono>

#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor {

std::string QuitSentinel::defaultPath(std::string_view support) {
    return fmt::format("{}/{}", ClientInstance::supportRoot(support), fileName);
}

bool QuitSentinel::isSet() const { return Files::exists(path); }

void QuitSentinel::set() const {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    static_cast<void>(ClientStoreMode::write(asBytes(fmt::format("quit at {:%Y-%m-%dT%H:%M:%SZ}\n", now)), path));
}

void QuitSentinel::clear() const { ::unlink(path.c_str()); }

}  // namespace larkmoor

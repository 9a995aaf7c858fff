#include "LarkmoorKit/FirstRun/UpdateOptIn.h"

namespace larkmoor::UpdateOptIn {

void write(bool value, const std::string& menubarID, const OpenSuite& open) {
    if (const auto suite = open(menubarID)) static_cast<void>(suite->set(key, value));
}

}  // namespace larkmoor::UpdateOptIn

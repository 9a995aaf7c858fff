// Apart from the rest, which needs no word from the system: a program that only asks `enclosing` links no adapter.
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorPlatform/Process.h"

namespace larkmoor::InstalledBundle {

std::optional<std::string> current() {
    const auto executable = runningExecutable();
    return executable ? enclosing(*executable) : std::nullopt;
}

}  // namespace larkmoor::InstalledBundle

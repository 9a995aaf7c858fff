#include "LarkmoorConnectors/ConfigFile/TOMLEntry.h"

#include <utility>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/TOMLString.h"

namespace larkmoor {

std::optional<std::string> TOMLEntry::text() const {
    if (!raw.starts_with('"') && !raw.starts_with('\'')) return std::nullopt;
    auto string = TOMLText::parseString(asBytes(raw), 0);
    // A multi-line string begins with an empty one.
    if (!string || string->end != std::ssize(raw)) return std::nullopt;
    return std::move(string->text);
}

}  // namespace larkmoor

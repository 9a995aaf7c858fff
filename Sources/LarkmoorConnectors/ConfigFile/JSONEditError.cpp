#include "LarkmoorConnectors/ConfigFile/JSONEditError.h"

#include <fmt/format.h>

namespace larkmoor {

namespace {

std::string named(const JSONPath& path) {
    if (path.empty()) return "the top-level value";
    std::string name;
    for (const JSONStep& step : path) {
        if (&step != &path.front()) name += '.';
        name += step.visit([](const JSONStep::Key& key) { return key.text; },
                           [](const JSONStep::Index& index) { return fmt::format("[{}]", index.value); });
    }
    return name;
}

}  // namespace

std::string JSONEditError::description() const {
    return visit(
        [](const NotAnObject& error) { return named(error.path) + " is not an object"; },
        [](const NotAnArray& error) { return named(error.path) + " is not an array"; },
        [](const NoSuchMember& error) { return error.key + " is not in " + named(error.path); },
        [](const NoSuchElement& error) { return fmt::format("{} has no element {}", named(error.path), error.index); });
}

}  // namespace larkmoor

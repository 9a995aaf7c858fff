// The verbs on update feeds and on versions.
#include <fmt/format.h>

#include "Command.h"
#include "LarkmoorUpdate/Feed/Version.h"

namespace larkmoor::update {

Outcome compare(const Arguments& arguments) {
    const auto order = compareVersions(arguments.words[0], arguments.words[1]);
    const char sign = order < 0 ? '<' : order > 0 ? '>' : '=';
    return {.output = arguments.json ? fmt::format("\"{}\"\n", sign) : fmt::format("{}\n", sign)};
}

}  // namespace larkmoor::update

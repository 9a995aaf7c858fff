// The verbs on the files of a model store.
#include "Command.h"

#include <fmt/format.h>

#include "LarkmoorBase/SHA256.h"

namespace larkmoor::models {

Outcome digest(const Arguments& arguments) {
    const auto digest = SHA256::ofFile(arguments.words[0]);
    if (!digest) return {.status = Outcome::failed, .errors = digest.error().description()};
    return {.output = arguments.json ? fmt::format("{{\"sha256\":\"{}\"}}\n", *digest) : *digest + "\n"};
}

}  // namespace larkmoor::models

#include "LarkmoorLocalModels/Runtime/RuntimePartials.h"

#include <fmt/format.h>
#include <unistd.h>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorKit/Models/LocalModelsProgress.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace {

constexpr std::string_view infix = "-ollama-";
constexpr std::string_view ending = ".tgz";

}  // namespace

std::string partialName(std::int32_t pid) {
    return fmt::format("{}{}{}{}", ClientInstance::logStem, infix, pid, ending);
}

std::optional<std::int32_t> partialPID(std::string_view name) {
    for (const std::string_view beginning : {ClientInstance::logStem, infix}) {
        if (!name.starts_with(beginning)) return std::nullopt;
        name.remove_prefix(beginning.size());
    }
    if (!name.ends_with(ending)) return std::nullopt;
    name.remove_suffix(ending.size());
    return wholeNumber<std::int32_t>(name);
}

void sweepStrayTarballs(const std::string& folder, const std::function<void(std::string)>& log) {
    for (const std::string& name : Files::names(folder).value_or(std::vector<std::string>{})) {
        const auto pid = partialPID(name);
        if (!pid || LocalModelsProgress::isAlive(*pid)) continue;
        if (::unlink(fmt::format("{}/{}", folder, name).c_str()) != 0) continue;
        log(
            fmt::format("model-setup: swept a stray runtime partial ({}) — its process is gone and step 1 restarts, so "
                        "nothing was ever going to resume it",
                        name));
    }
}

}  // namespace larkmoor

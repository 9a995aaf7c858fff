#include "LarkmoorUpdate/Upgrade/Upgrade.h"

#include <fmt/format.h>

#include "LarkmoorBase/Text.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

bool UpgradeWatch::isOver(const BundleSighting& sighting, bool isBusy, Instant now) {
    if (isBusy || moving_ != sighting) {
        moving_ = sighting;
        since_ = now;
    }
    if (isBusy || now - since_ < rest) return false;
    judged_ = sighting;
    moving_.reset();
    return true;
}

bool UpgradeWatch::isReplaced() const {
    return judged_.list && judged_.program && !(launched_.program && judged_.program->isSameFile(*launched_.program));
}

std::optional<Upgrade> Upgrade::of(const BundleVersion& installed, const BundleVersion& running) {
    std::string build{trimmed(installed.build.value_or(""))};
    if (build.empty() || build == running.build) return std::nullopt;
    std::string name{ClientInstance::productName};
    const std::string version{trimmed(installed.version.value_or(""))};
    if (!version.empty()) name += " " + version;
    std::string instead = running.version.value_or("the one before");
    if (version.empty() || version == running.version) {
        name += fmt::format(" (build {})", build);
        if (running.build) instead += fmt::format(" (build {})", *running.build);
    }
    return Upgrade{.build = std::move(build), .name = std::move(name), .running = std::move(instead)};
}

MenuLine Upgrade::line() const {
    switch (stage) {
        case Stage::offered:
            return {.title = fmt::format("{} is installed — click to start it anew", name),
                    .click = MenuLine::Click::installNow};
        case Stage::waitsForCall:
            return {.title = fmt::format("{} starts after your call", name), .click = MenuLine::Click::installNow};
        case Stage::starts:
            break;
    }
    return {.title = fmt::format("Starting {}…", name)};
}

}  // namespace larkmoor

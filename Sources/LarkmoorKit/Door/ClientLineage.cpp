#include "LarkmoorKit/Door/ClientLineage.h"

#include <filesystem>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/Process.h"
#include "LarkmoorPlatform/PropertyList.h"

namespace larkmoor {

namespace fs = std::filesystem;

ClientLineage ClientLineage::judge(bool executableReplaced, const std::optional<std::string>& occupantBundleID,
                                   const std::optional<std::string>& occupantVersion) {
    const bool isFamily =
        occupantBundleID && (*occupantBundleID == family || occupantBundleID->starts_with(std::string{family} + "."));
    if (executableReplaced && isFamily) return Stale{occupantVersion};
    return Foreign{};
}

// Not by the file's date: packages and archives bring along that of their making, long before this process began.
bool ClientLineage::executableReplaced(const std::string& path) { return isRunningExecutable(path) == false; }

std::optional<ClientLineage::Occupant> ClientLineage::occupantBundle(const std::string& besideExecutable) {
    const fs::path programs = fs::path{besideExecutable}.parent_path();
    if (programs.filename() != "MacOS") return std::nullopt;
    const auto list = Files::read((programs.parent_path() / "Info.plist").string());
    if (!list || !PropertyList::isReadable(*list)) return std::nullopt;
    auto version = PropertyList::textUnder(*list, "CFBundleShortVersionString");
    if (!version) version = PropertyList::textUnder(*list, "CFBundleVersion");
    return Occupant{.id = PropertyList::textUnder(*list, "CFBundleIdentifier"), .version = std::move(version)};
}

ClientLineage ClientLineage::probe(const std::optional<std::string>& executablePath) {
    if (!executablePath) return Foreign{};
    const auto occupant = occupantBundle(*executablePath);
    if (!occupant) return Foreign{};
    return judge(executableReplaced(*executablePath), occupant->id, occupant->version);
}

}  // namespace larkmoor

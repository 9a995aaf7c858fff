#include "LarkmoorWire/Identity/ClientVersion.h"

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/UTF8.h"
#include "LarkmoorPlatform/PropertyList.h"
#include "LarkmoorPlatform/Process.h"

namespace larkmoor::ClientVersion {

namespace fs = std::filesystem;

namespace {

// A bare executable in a developer's tree lies this deep in the build's output at most.
constexpr int levelsAboveExecutable = 5;

bool isDigits(std::string_view piece) { return !piece.empty() && piece.find_first_not_of("0123456789") == piece.npos; }

}  // namespace

Seams Seams::live() {
    return {
        .plistVersion = [](const fs::path& plist) -> std::optional<std::string> {
            const auto bytes = Files::read(plist.string());
            return bytes ? PropertyList::textUnder(*bytes, "CFBundleShortVersionString") : std::nullopt;
        },
        .versionFileText = [](const fs::path& file) -> std::optional<std::string> {
            const auto bytes = Files::read(file.string());
            if (!bytes || !UTF8::isValid(asText(*bytes))) return std::nullopt;
            return std::string{asText(*bytes)};
        },
        .exists = [](const fs::path& path) { return Files::exists(path.string()); },
    };
}

std::optional<std::string> shaped(const std::optional<std::string>& text) {
    if (!text) return std::nullopt;
    const std::string_view version = trimmed(*text);
    for (std::string_view rest = version;;) {
        const auto stop = rest.find('.');
        if (!isDigits(rest.substr(0, stop))) return std::nullopt;
        if (stop == std::string_view::npos) return std::string{version};
        rest.remove_prefix(stop + 1);
    }
}

std::optional<fs::path> appInfoPlist(const fs::path& executable) {
    const fs::path programs = executable.parent_path();
    const fs::path contents = programs.parent_path();
    const bool isBundle = programs.filename() == "MacOS" && contents.filename() == "Contents" &&
                          contents.parent_path().extension() == ".app";
    if (!isBundle) return std::nullopt;
    return contents / "Info.plist";
}

std::optional<fs::path> versionFile(const fs::path& folder, int levels,
                                    const std::function<bool(const fs::path&)>& exists) {
    fs::path place = folder;
    for (int left = std::max(levels, 0); left >= 0; --left) {
        if (fs::path file = place / "VERSION"; exists(file)) return file;
        const fs::path above = place.parent_path();
        if (above == place) break;
        place = above;
    }
    return std::nullopt;
}

std::string resolve(const std::optional<fs::path>& executable, const Seams& seams) {
    if (!executable) return std::string{unknown};
    if (const auto plist = appInfoPlist(*executable)) {
        if (auto version = shaped(seams.plistVersion(*plist))) return *version;
    }
    const auto file = versionFile(executable->parent_path(), levelsAboveExecutable, seams.exists);
    if (!file) return std::string{unknown};
    return shaped(seams.versionFileText(*file)).value_or(std::string{unknown});
}

const std::string& current() {
    static const std::string version = [] {
        std::optional<fs::path> executable;
        if (auto running = runningExecutable()) executable = fs::path{*running};
        return resolve(executable, Seams::live());
    }();
    return version;
}

}  // namespace larkmoor::ClientVersion

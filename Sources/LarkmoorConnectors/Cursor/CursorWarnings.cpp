#include "LarkmoorConnectors/Cursor/CursorWarnings.h"

#include <algorithm>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/UTF8.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "LarkmoorConnectors/Framework/HookCommand.h"
#include "LarkmoorPlatform/PropertyList.h"

namespace larkmoor {

std::optional<std::string> CursorVersion::read(const std::string& app) {
    const auto list = Files::read(app + "/Contents/Info.plist");
    auto version = list ? PropertyList::textUnder(*list, "CFBundleShortVersionString") : std::nullopt;
    // A binary list can hold any bytes as text, and the receipt holds UTF-8.
    if (!version || version->empty() || !UTF8::isValid(*version)) return std::nullopt;
    return version;
}

namespace CursorThirdParty {

namespace {

std::optional<Mapped> mapped(std::string_view command, const std::string& cursorCommand, const std::string& claude) {
    for (const std::string& current : {cursorCommand, claude}) {
        const auto known = HookCommand::spellings(current);
        if (std::ranges::find(known, command) != known.end() || HookCommand::isLegacyBundle(command, current)) {
            return Mapped::Current{std::string{command}};
        }
    }
    if (HookCommand::legacyScriptPath(command)) return Mapped::Legacy{std::string{command}};
    return std::nullopt;
}

}  // namespace

std::optional<Mapped> mappedLarkmoorEntry(BytesView in, const std::string& cursorCommand, const std::string& claude) {
    const auto document = JSONDocument::read(in, JSONDialect::strict);
    const JSONNode* groups = document ? document->root().node({"hooks", "UserPromptSubmit"}) : nullptr;
    if (groups == nullptr) return std::nullopt;
    for (const JSONNode& group : groups->elements()) {
        const JSONNode* entries = group.node({"hooks"});
        if (entries == nullptr) continue;
        for (const JSONNode& entry : entries->elements()) {
            const JSONNode* command = entry.node({"command"});
            const auto text = command == nullptr ? std::nullopt : command->text();
            if (auto hit = text ? mapped(*text, cursorCommand, claude) : std::nullopt) return hit;
        }
    }
    return std::nullopt;
}

}  // namespace CursorThirdParty

}  // namespace larkmoor

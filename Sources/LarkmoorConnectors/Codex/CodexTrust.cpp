#include "LarkmoorConnectors/Codex/CodexTrust.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor {

namespace {

constexpr const char* hashKey = "trusted_hash";

/// Takes what is behind the last colon off the text; nullopt if there is no colon.
std::optional<std::string_view> lastPart(std::string_view& of) {
    const std::size_t colon = of.rfind(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const std::string_view part = of.substr(colon + 1);
    of = of.substr(0, colon);
    return part;
}

const TOMLEntry* entryOf(std::string_view key, std::string_view name, const TOMLDocument& in) {
    const TOMLTable* table = in.table(CodexTrustSlot::table(key));
    if (table == nullptr) return nullptr;
    const auto entries = in.entries(*table);
    const auto found = std::ranges::find(entries, TOMLName{std::string{name}}, &TOMLEntry::key);
    return found == entries.end() ? nullptr : &*found;
}

std::expected<TOMLFile, TOMLEditFailure> readBack(Bytes bytes) {
    auto file = TOMLFile::read(std::move(bytes));
    if (!file) return std::unexpected{TOMLEditFailure{std::move(file.error())}};
    return std::move(*file);
}

std::expected<BlockInstalled, TOMLEditFailure> installedAs(Bytes bytes, ReceiptAddition made) {
    auto file = readBack(std::move(bytes));
    if (!file) return std::unexpected{std::move(file.error())};
    return BlockInstalled{std::move(*file), std::move(made)};
}

}  // namespace

std::optional<CodexTrustSlot> CodexTrustSlot::parse(std::string_view key) {
    std::string_view path = key;
    const auto index = lastPart(path), group = lastPart(path), event = lastPart(path);
    if (!index || !group || !event) return std::nullopt;
    const auto atIndex = wholeNumber<std::int64_t>(*index), atGroup = wholeNumber<std::int64_t>(*group);
    if (!atIndex || !atGroup) return std::nullopt;
    return CodexTrustSlot{std::string{key}, std::string{path}, std::string{*event}, *atGroup, *atIndex};
}

TOMLName CodexTrustSlot::table(std::string_view key) { return {"hooks", "state", std::string{key}}; }

std::vector<CodexTrustSlot> CodexTrust::slots(const TOMLDocument& in) const {
    std::vector<CodexTrustSlot> slots;
    for (const TOMLTable& table : in.tables) {
        if (table.isArrayElement || table.name.size() != 3) continue;
        if (table.name != CodexTrustSlot::table(table.name[2])) continue;
        auto slot = CodexTrustSlot::parse(table.name[2]);
        if (!slot || slot->hooksPath != paths.trustPath() || slot->event != CodexHookIdentity::event) continue;
        slots.push_back(std::move(*slot));
    }
    return slots;
}

std::optional<std::string> CodexTrust::recordedHash(std::string_view key, const TOMLDocument& in) {
    const TOMLEntry* entry = entryOf(key, hashKey, in);
    return entry == nullptr ? std::nullopt : entry->text();
}

bool CodexTrust::isSwitchedOff(std::string_view key, const TOMLDocument& in) {
    const TOMLEntry* entry = entryOf(key, "enabled", in);
    return entry != nullptr && entry->raw == "false";
}

std::set<std::string> CodexTrust::knownHashes(const CodexHookIdentity& current, std::span<const CodexHookSite> sites) {
    std::set<std::string> known{current.trustedHash()};
    for (const CodexHookSite& site : sites) {
        const auto identity = site.identity();
        if (!identity) continue;
        known.insert(identity->trustedHash());
        const auto script = HookCommand::legacyScriptPath(site.command);
        if (!script) continue;
        for (const auto& legacy : CodexHookIdentity::legacyIdentities(ConfigPath::folder(*script), identity->timeout)) {
            known.insert(legacy.trustedHash());
        }
    }
    return known;
}

CodexTrust::Judgement CodexTrust::judge(
    const TOMLDocument& document, std::string_view occupied, const std::set<std::string>& receiptSlots,
    const std::set<std::string>& known,
    const std::function<bool(std::int64_t group, std::int64_t index)>& liveIndex) const {
    CodexTrust::Judgement judgement;
    for (CodexTrustSlot& slot : slots(document)) {
        if (slot.key == occupied) continue;
        const auto hash = recordedHash(slot.key, document);
        const bool isKnown = hash && known.contains(*hash);
        const bool isLive = liveIndex(slot.group, slot.index);
        if (receiptSlots.contains(slot.key)) {
            // A hook of the user's has taken our old place, and its trust is its own.
            if (hash && !isKnown && isLive) continue;
        } else if (!isKnown) {
            continue;
        } else if (isLive) {
            judgement.foreign.push_back(std::move(slot.key));
            continue;
        }
        judgement.stale.push_back(std::move(slot.key));
    }
    return judgement;
}

BlockFinding CodexTrust::find(const TOMLDocument& document, const std::optional<CodexHookSite>& site) const {
    if (!site) return BlockFinding::Absent{};
    const auto identity = site->identity();
    if (!identity) return BlockFinding::Drifted{{noWholeTimeout()}};
    const std::string key = keyOf(*site);
    const auto recorded = recordedHash(key, document);
    if (!recorded) {
        return BlockFinding::Drifted{
            {fmt::format("no trusted hash is recorded here for the Larkmoor hook entry in {}", paths.hooksFile)}};
    }
    if (const std::string hash = identity->trustedHash(); *recorded != hash) {
        return BlockFinding::Drifted{
            {fmt::format("the trusted hash recorded here is {} and the Larkmoor hook entry in {} hashes to {}",
                         *recorded, paths.hooksFile, hash)}};
    }
    if (isSwitchedOff(key, document)) return BlockFinding::Drifted{{switchedOff()}};
    return BlockFinding::Connected{};
}

std::expected<BlockInstalled, TOMLEditFailure> CodexTrust::installed(const TOMLFile& file, std::string_view key,
                                                                     const std::string& hash) {
    if (recordedHash(key, file.document) == hash) return BlockInstalled{file};
    const TOMLName name = CodexTrustSlot::table(key);
    const std::string value = TOMLText::quote(hash);
    if (const TOMLTable* table = file.document.table(name)) {
        auto edited = TOMLEdit::setKey(file.bytes, *table, file.document.entries(*table), hashKey, value);
        if (!edited) return std::unexpected{TOMLEditFailure{std::move(edited.error())}};
        ReceiptAddition made;
        if (edited->appendedTrailingNewline) made.created.insert(Created::codexConfigTrailingNewline);
        return installedAs(std::move(edited->bytes), std::move(made));
    }
    const TOMLEdit::Line line{hashKey, value};
    auto edited = TOMLEdit::setTable(file.bytes, name, {&line, 1});
    if (!edited) return std::unexpected{TOMLEditFailure{std::move(edited.error())}};
    ReceiptAddition made{.created = {Created::codexTrustTable}};
    if (edited->appendedTrailingNewline) made.created.insert(Created::codexConfigTrailingNewline);
    return installedAs(std::move(edited->bytes), std::move(made));
}

std::expected<TOMLFile, TOMLEditFailure> CodexTrust::removed(TOMLFile file, std::span<const std::string> keys) {
    for (const std::string& key : keys) {
        const TOMLName name = CodexTrustSlot::table(key);
        const TOMLTable* table = file.document.table(name);
        if (table == nullptr) continue;
        const auto entries = file.document.entries(*table);
        const auto isHash = [](const TOMLEntry& entry) { return entry.key == TOMLName{hashKey}; };
        std::expected<Bytes, TOMLEditFailure> edited = file.bytes;
        if (std::ranges::all_of(entries, isHash)) {
            edited = TOMLEdit::removeTable(file.bytes, name);
        } else if (const auto hash = std::ranges::find_if(entries, isHash); hash != entries.end()) {
            edited = TOMLEdit::removeKey(file.bytes, *hash);
        }
        if (!edited) return std::unexpected{std::move(edited.error())};
        auto next = readBack(std::move(*edited));
        if (!next) return next;
        file = std::move(*next);
    }
    return file;
}

std::string CodexTrust::keyOf(CodexHookPosition at) const {
    return fmt::format("{}:{}:{}:{}", paths.trustPath(), CodexHookIdentity::event, at.group, at.entry);
}

std::string CodexTrust::noWholeTimeout() const {
    return fmt::format(
        "the timeout on the Larkmoor hook entry in {} is not a whole number, so the identity Codex hashes cannot be "
        "computed",
        paths.hooksFile);
}

std::string CodexTrust::switchedOff() const {
    return fmt::format("the hook switch recorded here is off, so Codex does not call the Larkmoor hook entry in {}",
                       paths.hooksFile);
}

std::string CodexTrust::foreignSlot(std::string_view key) {
    return fmt::format(
        "a hash Larkmoor's hook has carried before is recorded here for the slot {}, which Larkmoor did not write",
        key);
}

}  // namespace larkmoor

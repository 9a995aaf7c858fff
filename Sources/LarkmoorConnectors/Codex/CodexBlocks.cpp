#include "LarkmoorConnectors/Codex/CodexBlocks.h"

#include <fmt/format.h>

#include <memory>

#include "LarkmoorConnectors/ConfigFile/Splice.h"

namespace larkmoor {

namespace {

std::optional<JSONDocument> jsonOf(const FileDocument* document) {
    return document == nullptr ? std::nullopt : std::optional{std::get<JSONDocument>(*document)};
}

/// An edit of ours failed in a way that its own plan should have ruled out.
BlockFailure selfEditFailure() {
    return BlockFailure::sentence("the planned edit did not read back as TOML, so nothing was written");
}

/// The bytes without the line feed at their end, and without a carriage return that was written with it.
Bytes withoutFinalNewline(Bytes bytes) {
    if (bytes.empty() || bytes.back() != std::byte{'\n'}) return bytes;
    bytes.pop_back();
    if (lineEnding(bytes) == "\r\n" && bytes.back() == std::byte{'\r'}) bytes.pop_back();
    return bytes;
}

/// The refusal of a plan for the hooks file that moves entries of the user's.
std::optional<BlockFailure> movesEntries(const CodexHook& hook, const FileDocument& from, const FileDocument& to) {
    const std::size_t moved = hook.movedForeignEntries(std::get<JSONDocument>(from), std::get<JSONDocument>(to));
    if (moved == 0) return std::nullopt;
    return BlockFailure::sentence(
        fmt::format(
            "trusted hashes here are recorded by position, and {} hook entries in {} moved position, so nothing "
            "was written",
            moved, hook.paths.hooksFile),
        hook.paths.configFile);
}

}  // namespace

Block codexHookBlock(const CodexPaths& paths) {
    const CodexHook hook{paths};
    Block block = Block::json("hook entry", paths.hookCommand(), hook);
    block.installed = [hook, plan = block.installed](const FileDocument& file, bool createdByUs) {
        auto installed = plan(file, createdByUs);
        if (!installed) return installed;
        if (auto refusal = movesEntries(hook, file, installed->document)) installed = std::unexpected{*refusal};
        return installed;
    };
    block.removed = [hook, plan = block.removed](const FileDocument& file, const ConnectorReceipt& receipt) {
        auto removed = plan(file, receipt);
        if (!removed) return removed;
        if (auto refusal = movesEntries(hook, file, *removed->document)) removed = std::unexpected{*refusal};
        return removed;
    };
    return block;
}

CodexConfigBlocks::CodexConfigBlocks(CodexPaths paths, const BlockContext& context)
    : paths_(std::move(paths)),
      hooks_(jsonOf(context.read)),
      plannedHooks_(jsonOf(context.planned)),
      sites_(hooks_ ? hook_.sites(*hooks_) : std::vector<CodexHookSite>{}),
      site_(CodexHook::locatedAmong(sites_)),
      receiptSlots_(context.receipt.trustSlots) {
    if (context.planned == context.read) {
        plannedSite_ = site_;
    } else if (plannedHooks_) {
        plannedSite_ = hook_.located(*plannedHooks_);
    }
}

std::vector<Block> CodexConfigBlocks::blocks() const {
    const auto tomlOf = [](const FileDocument& file) -> const TOMLFile& { return std::get<TOMLFile>(file); };
    const auto rules = std::make_shared<const CodexConfigBlocks>(*this);
    return {
        {.noun = "MCP server entry",
         .command = paths_.mcpBinary,
         .created = Created::codexMCPTable,
         .find = [=](const FileDocument& file, bool createdByUs) -> BlockFinding {
             const TOMLDocument& document = tomlOf(file).document;
             if (auto reason = rules->unreadableReason(document)) return BlockFinding::Unreadable{*reason};
             return rules->server_.find(document, createdByUs);
         },
         .installed = [=](const FileDocument& file, bool) { return rules->serverInstalled(tomlOf(file)); },
         // The table goes with the trust record, since what was written last has to go first.
         .removed = [](const FileDocument& file, const ConnectorReceipt&) -> Removed { return BlockRemoved{file}; }},
        {.noun = "trust record",
         .command = "",
         .sentence = "the trusted hash recorded here matches the Larkmoor hook entry",
         .find = [=](const FileDocument& file,
                     bool) { return rules->trust_.find(tomlOf(file).document, rules->site_); },
         .installed = [=](const FileDocument& file, bool) { return rules->trustInstalled(tomlOf(file)); },
         .removed = [=](const FileDocument& file,
                        const ConnectorReceipt& receipt) { return rules->allRemoved(tomlOf(file), receipt); }}};
}

std::optional<std::string> CodexConfigBlocks::unreadableReason(const TOMLDocument& document) const {
    std::vector<TOMLName> owning{CodexMCP::tableName()};
    for (const std::string& slot : receiptSlots_) owning.push_back(CodexTrustSlot::table(slot));
    const CodexHookPosition appended = hooks_ ? CodexHook::appendedAt(hooks_->root()) : CodexHookPosition{};
    owning.push_back(CodexTrustSlot::table(site_ ? trust_.keyOf(*site_) : trust_.keyOf(appended)));
    return TOMLText::unreadableReason(document, owning);
}

CodexTrust::Judgement CodexConfigBlocks::judge(const TOMLDocument& document, std::string_view occupied) const {
    return trust_.judge(document, occupied, receiptSlots_, CodexTrust::knownHashes(hook_.identity(), sites_),
                        [this](std::int64_t group, std::int64_t index) {
                            return plannedHooks_ && CodexHook::liveIndex(plannedHooks_->root(), group, index);
                        });
}

std::vector<std::string> CodexConfigBlocks::foreignSlots(const TOMLDocument& in) const {
    std::vector<std::string> said;
    for (const std::string& key : judge(in, plannedSite_ ? trust_.keyOf(*plannedSite_) : "").foreign) {
        said.push_back(CodexTrust::foreignSlot(key));
    }
    return said;
}

CodexConfigBlocks::Installed CodexConfigBlocks::serverInstalled(const TOMLFile& file) const {
    auto installed = server_.installed(file);
    if (!installed) return std::unexpected{selfEditFailure()};
    return std::move(*installed);
}

CodexConfigBlocks::Installed CodexConfigBlocks::trustInstalled(const TOMLFile& file) const {
    const auto identity = plannedSite_ ? plannedSite_->identity() : std::nullopt;
    if (!identity) return std::unexpected{BlockFailure{trust_.noWholeTimeout()}};
    const std::string key = trust_.keyOf(*plannedSite_);
    auto installed = CodexTrust::installed(file, key, identity->trustedHash());
    if (!installed) return std::unexpected{selfEditFailure()};
    const auto& recorded = std::get<TOMLFile>(installed->document);
    auto cleaned = CodexTrust::removed(recorded, judge(recorded.document, key).stale);
    if (!cleaned) return std::unexpected{selfEditFailure()};
    installed->made.trustSlots = {key};
    installed->notes = foreignSlots(cleaned->document);
    if (CodexTrust::isSwitchedOff(key, cleaned->document)) installed->warnings = {trust_.switchedOff()};
    installed->document = std::move(*cleaned);
    return std::move(*installed);
}

CodexConfigBlocks::Removed CodexConfigBlocks::allRemoved(const TOMLFile& file, const ConnectorReceipt& receipt) const {
    const std::string occupied = site_ ? trust_.keyOf(*site_) : "";
    std::vector<std::string> going = judge(file.document, occupied).stale;
    if (site_) going.push_back(occupied);
    auto left = CodexTrust::removed(file, going);
    if (left) left = CodexMCP::removed(std::move(*left));
    if (!left) return std::unexpected{selfEditFailure()};
    std::vector<std::string> foreign = foreignSlots(left->document);
    // What is left is how the file began, so that its last line feed is the one before our tables.
    const bool wasLast = left->bytes != file.bytes && asText(file.bytes).starts_with(asText(left->bytes));
    if (wasLast && receipt.created.contains(Created::codexConfigTrailingNewline)) {
        left = *TOMLFile::read(withoutFinalNewline(std::move(left->bytes)));
    }
    return BlockRemoved{std::move(*left), std::move(foreign)};
}

}  // namespace larkmoor

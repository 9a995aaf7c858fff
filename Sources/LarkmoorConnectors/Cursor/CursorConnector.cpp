#include "LarkmoorConnectors/Cursor/CursorConnector.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorConnectors/Cursor/CursorBlocks.h"
#include "LarkmoorConnectors/Cursor/CursorInventory.h"
#include "LarkmoorConnectors/Cursor/CursorWarnings.h"
#include "LarkmoorConnectors/Framework/Observations.h"

namespace larkmoor {

ConnectorIdentity CursorConnector::identity() const {
    return {"cursor", "Cursor", "The Cursor editor, its agent view, and the terminal agent.", "cursorarrow.rays"};
}

BlockVerbs CursorConnector::blocks() const {
    return {{{.path = paths.hooksFile,
              .created = Created::cursorHooksFile,
              .seed = CursorHook::seed,
              .blocks = {Block::json("hook entry", paths.hookCommand(), CursorHook{paths})},
              .isResidue =
                  [](const FileDocument& file) {
                      return CursorHook::isSeedResidue(std::get<JSONDocument>(file)) ||
                             FileDocuments::isEmptyTopLevel(file);
                  },
              .residueStays = "this file now holds no hooks and remains, because Larkmoor did not create it",
              .saysOldResidue = true},
             {.path = paths.mcpFile,
              .created = Created::cursorMCPFile,
              .blocks = {Block::json("MCP server entry", paths.mcpBinary, CursorMCP{paths})}}},
            {paths.receiptFile}};
}

ScanReport CursorConnector::scan() const {
    if (!Files::exists(paths.configDirectory)) {
        return {identity(), ConnectorState::notFound, {{paths.configDirectory, "there is no directory here"}}};
    }
    const BlockVerbs read = blocks();
    std::vector<Observation> said = read.observations();
    for (const auto& warnings : {versionObservations(), doubleFireObservations()}) {
        said.insert(said.end(), warnings.begin(), warnings.end());
    }
    return {identity(), read.state(), Observations::folded(said)};
}

std::vector<Observation> CursorConnector::versionObservations() const {
    const auto proven = ReceiptStore{paths.receiptFile}.read().appVersion;
    const auto current = proven ? CursorVersion::read(paths.cursorApp) : std::nullopt;
    if (!current || current == proven) return {};
    return {{paths.hooksFile, fmt::format("Cursor is now {}; the Larkmoor hook entry on this Mac was proven against {}",
                                          *current, *proven)}};
}

/// Cursor also runs Claude Code's hooks of this event. Their file is read and never written.
std::vector<Observation> CursorConnector::doubleFireObservations() const {
    const HarnessFile settings = HarnessFile::read(paths.claudeSettingsFile);
    if (!settings.bytes) return {};
    const auto entry = CursorThirdParty::mappedLarkmoorEntry(*settings.bytes, paths.hookCommand(),
                                                             paths.hookBinary + " --harness claude-code");
    if (!entry) return {};
    constexpr std::string_view found =
        "a Larkmoor hook entry is under UserPromptSubmit in this file too, which Cursor maps onto its own "
        "beforeSubmitPrompt event";
    constexpr std::string_view silent =
        "; Cursor runs this entry too; it stays silent there, because Cursor's own entry serves each prompt";
    constexpr std::string_view answers =
        ", and that entry answers in Claude Code's envelope, which carries no continue key";
    const std::string_view how = entry->visit([&](const CursorThirdParty::Mapped::Current&) { return silent; },
                                              [&](const CursorThirdParty::Mapped::Legacy&) { return answers; });
    return {{paths.claudeSettingsFile, fmt::format("{}{}", found, how)}};
}

std::optional<ConnectorOutcome> CursorConnector::versionRefusal(const FileDocument* hooks) const {
    const auto error = hooks == nullptr ? std::nullopt : CursorHook::versionError(std::get<JSONDocument>(*hooks));
    if (!error) return std::nullopt;
    return ConnectorOutcome::refused({{paths.hooksFile, error->description() + ", so nothing was written"}});
}

ConnectorOutcome CursorConnector::install() const {
    if (!Files::exists(paths.configDirectory) && !Files::exists(paths.mcpFile)) {
        return ConnectorOutcome::refused(
            {{paths.configDirectory, "there is no Cursor configuration here, so nothing was written"}});
    }
    const BlockVerbs read = blocks();
    if (auto refusal = read.readingRefusal()) return std::move(*refusal);
    if (auto refusal = versionRefusal(read.document(0))) return std::move(*refusal);
    return read.install(paths.configDirectory, commitOptions(),
                        {.appVersion = [this] { return CursorVersion::read(paths.cursorApp); }});
}

ConnectorOutcome CursorConnector::remove() const { return blocks().remove(commitOptions()); }

/// One entry of our own program makes the wiring ours to rewrite unasked; with it go entries that run a copy of it
/// elsewhere. Where only such entries are, nothing is rewritten.
bool CursorConnector::staleOwnWiring() const {
    if (!Files::exists(paths.configDirectory)) return false;
    const BlockVerbs read = blocks();
    const FileDocument* hooks = read.document(0);
    if (read.state() != ConnectorState::drifted || hooks == nullptr) return false;
    const auto sites = CursorHook{paths}.sites(std::get<JSONDocument>(*hooks).root());
    return std::ranges::any_of(sites, [this](const HookSite& site) { return site.runs(paths.hookBinary); });
}

ProjectReport CursorConnector::projects() const { return CursorInventory::projects(paths); }

}  // namespace larkmoor

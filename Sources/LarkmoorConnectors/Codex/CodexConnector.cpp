#include "LarkmoorConnectors/Codex/CodexConnector.h"

#include "LarkmoorConnectors/Codex/CodexBlocks.h"
#include "LarkmoorConnectors/Codex/CodexInventory.h"
#include "LarkmoorConnectors/Framework/Observations.h"

namespace larkmoor {

ConnectorIdentity CodexConnector::identity() const {
    return {"codex", "Codex", "The Codex CLI and the ChatGPT desktop app.", "terminal"};
}

BlockVerbs CodexConnector::blocks() const {
    const auto isEmpty = [](const FileDocument& file) { return FileDocuments::bytes(file).empty(); };
    return {
        {{.path = paths.hooksFile, .created = Created::codexHooksFile, .blocks = {codexHookBlock(paths)}},
         {.path = paths.configFile,
          .created = Created::codexConfigFile,
          .format = FileFormat::toml,
          .seed = "",
          .blocksAfter = [own = paths](const BlockContext& hooks) { return CodexConfigBlocks{own, hooks}.blocks(); },
          .isResidue = isEmpty}},
        {paths.receiptFile}};
}

std::optional<ConnectorOutcome> CodexConnector::refusal(const BlockVerbs& read) const {
    if (auto unread = read.readingRefusal()) return unread;
    const FileDocument* config = read.document(1);
    if (config == nullptr) return std::nullopt;
    const bool createdByUs = read.receipt().created.contains(Created::codexMCPTable);
    auto reason = CodexMCP{paths}.refusalReason(std::get<TOMLFile>(*config).document, createdByUs);
    if (!reason) return std::nullopt;
    return Commitment::refused(PlanFailure{paths.configFile, std::move(*reason)});
}

std::vector<Observation> CodexConnector::foreignSlots(const BlockVerbs& read) const {
    std::vector<Observation> said;
    const FileDocument* config = read.document(1);
    if (config == nullptr || read.readingRefusal()) return said;
    const CodexConfigBlocks rules{paths, {read.document(0), read.document(0), read.receipt()}};
    for (std::string& text : rules.foreignSlots(std::get<TOMLFile>(*config).document)) {
        said.push_back({paths.configFile, std::move(text)});
    }
    return said;
}

ScanReport CodexConnector::scan() const {
    if (!Files::exists(paths.configDirectory)) {
        return {identity(), ConnectorState::notFound, {{paths.configDirectory, "there is no directory here"}}};
    }
    const BlockVerbs read = blocks();
    std::vector<Observation> said = read.observations();
    for (Observation& slot : foreignSlots(read)) said.push_back(std::move(slot));
    return {identity(), read.state(), Observations::folded(said)};
}

ConnectorOutcome CodexConnector::install() const {
    if (!Files::exists(paths.configDirectory)) {
        return ConnectorOutcome::refused(
            {{paths.configDirectory, "there is no Codex configuration here, so nothing was written"}});
    }
    const BlockVerbs read = blocks();
    if (auto refused = refusal(read)) return std::move(*refused);
    return read.install(paths.configDirectory, commitOptions());
}

ConnectorOutcome CodexConnector::remove() const {
    const BlockVerbs read = blocks();
    if (auto refused = refusal(read)) return std::move(*refused);
    return read.remove(commitOptions(), true);
}

bool CodexConnector::staleOwnWiring() const {
    return Files::exists(paths.configDirectory) && blocks().isStaleOwnWiring(0, CodexHook{paths}.layout());
}

ProjectReport CodexConnector::projects() const { return CodexInventory::projects(paths); }

MemoryFileReport CodexConnector::memoryFiles() const { return CodexInventory::memoryFiles(paths); }

}  // namespace larkmoor

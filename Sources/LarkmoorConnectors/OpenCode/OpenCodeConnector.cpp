#include "LarkmoorConnectors/OpenCode/OpenCodeConnector.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"
#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/Observations.h"
#include "LarkmoorConnectors/OpenCode/OpenCodeInventory.h"
#include "LarkmoorConnectors/OpenCode/OpenCodeMCP.h"
#include "LarkmoorConnectors/OpenCode/OpenCodePlugin.h"
#include "LarkmoorConnectors/OpenCode/OpenCodeSessionStore.h"
#include "LarkmoorConnectors/OpenCode/SQLiteReader.h"

namespace larkmoor {

namespace {

using OpenCodeSessionStore::Writer;

constexpr FileFormat configFormat = FileFormat::jsonWithComments;
constexpr std::string_view entryNoun = "MCP server entry";
constexpr std::string_view pluginNoun = "plugin";
constexpr const char* stalePlugin = "the plugin file here is not the one this build writes";
constexpr const char* foreignPlugin = "a file of this name is here and this build did not write it";
constexpr const char* fileCreatedByUs = "this file was created when Larkmoor connected and was removed";

/// A store that the plugin does not work with, or may not.
bool isTooOld(std::optional<Writer> writer) { return writer == Writer::openCode1 || writer == Writer::unknown; }

/// Why nobody can tell who writes the store: no update of OpenCode helps then.
std::optional<std::string> missingReader(std::optional<Writer> writer) {
    return writer == Writer::unknown ? SQLiteReader::loadFault() : std::nullopt;
}

/// A new folder, which goes again unless it is kept. What somebody put into it meanwhile keeps it, too.
class NewFolder {
  public:
    explicit NewFolder(std::string path) : path_(std::move(path)) {}
    NewFolder(const NewFolder&) = delete;
    NewFolder& operator=(const NewFolder&) = delete;
    ~NewFolder() {
        if (!path_.empty()) ::rmdir(path_.c_str());
    }

    void keep() { path_.clear(); }

  private:
    std::string path_;
};

/// What a scan reports about what the file should run; the block's noun is `what`.
std::vector<Observation> observations(const BlockFinding& finding, const BlockFile& file, std::string command) {
    const Block block{.noun = file.what, .command = std::move(command), .find = {}, .installed = {}, .removed = {}};
    return Observations::of(finding, file, block);
}

}  // namespace

struct OpenCodeConnector::Reading {
    HarnessFile config;
    std::optional<JSONDocument> document{};   ///< of the configuration, if it exists and can be edited
    std::optional<std::string> unreadable{};  ///< why it cannot be edited
    HarnessFile plugin;
    std::optional<PluginOwnership> ownership{};  ///< nullopt if there is no plugin file
    ConnectorReceipt receipt{};

    bool createdEntry() const { return receipt.created.contains(Created::openCodeMCPEntry); }
};

struct OpenCodeConnector::Plan {
    PlannedFile config, plugin;
    ReceiptAddition made{};            ///< by an installation
    std::vector<Observation> notes{};  ///< for the user, if anything changes
};

OpenCodeConnector::Reading OpenCodeConnector::reading() const {
    Reading read{.config = HarnessFile::read(paths.configFile),
                 .plugin = HarnessFile::read(paths.pluginFile),
                 .receipt = ReceiptStore{paths.receiptFile}.read()};
    if (read.plugin.bytes) read.ownership = OpenCodePlugin::ownership(*read.plugin.bytes, paths.hookBinary);
    if (!read.config.bytes) return read;
    auto document = JSONDocument::read(BytesView{*read.config.bytes}, JSONDialect::withComments);
    if (!document) {
        read.unreadable = document.error().description();
    } else {
        read.unreadable = OpenCodeMCP::unreadableReason(*document);
        if (!read.unreadable) read.document = std::move(*document);
    }
    return read;
}

ConnectorIdentity OpenCodeConnector::identity() const {
    return {"opencode", "OpenCode", "The OpenCode desktop app and terminal.",
            "chevron.left.forwardslash.chevron.right"};
}

ConnectorIdentity OpenCodeConnector::shownIdentity() const {
    ConnectorIdentity shown = identity();
    const std::string store = paths.sessionDatabase();
    const auto writer = OpenCodeSessionStore::writer(store);
    if (auto fault = missingReader(writer)) {
        shown.detail = std::move(*fault);
    } else if (isTooOld(writer)) {
        shown.detail = "Update OpenCode and open it once to use it with Larkmoor.";
    } else if (writer && OpenCodeSessionStore::isOpenCode1StillUsed(store, now())) {
        shown.detail = "OpenCode 1 is still being used on this Mac. Update it to use it with Larkmoor.";
    }
    return shown;
}

ScanReport OpenCodeConnector::scan() const {
    if (!Files::exists(paths.configDirectory)) {
        return {shownIdentity(), ConnectorState::notFound, {{paths.configDirectory, "there is no directory here"}}};
    }
    const Reading read = reading();
    const auto finding = [&]() -> BlockFinding {
        if (read.unreadable) return BlockFinding::Unreadable{*read.unreadable};
        if (!read.document) return BlockFinding::FileAbsent{};
        return OpenCodeMCP{paths}.find(*read.document, read.createdEntry());
    };
    const auto pluginFinding = [&]() -> BlockFinding {
        if (!read.ownership) return BlockFinding::FileAbsent{};
        if (*read.ownership == PluginOwnership::stale) return BlockFinding::Drifted{{stalePlugin}};
        if (*read.ownership == PluginOwnership::foreign) return BlockFinding::Foreign{{foreignPlugin}};
        auto reasons = Drift::reasons(paths.hookCommand(), paths.hookCommand(), paths.hookBinary);
        if (reasons.empty()) return BlockFinding::Connected{};
        return BlockFinding::Drifted{std::move(reasons)};
    };
    const BlockFinding findings[] = {finding(), pluginFinding()};
    auto said = observations(findings[0],
                             {.path = paths.configFile,
                              .created = Created::openCodeConfigFile,
                              .format = configFormat,
                              .what = entryNoun,
                              .blocks = {}},
                             paths.mcpBinary);
    std::ranges::move(observations(findings[1],
                                   {.path = paths.pluginFile,
                                    .created = Created::openCodePluginFile,
                                    .format = FileFormat::text,
                                    .what = pluginNoun,
                                    .blocks = {}},
                                   paths.hookCommand()),
                      std::back_inserter(said));
    return {shownIdentity(), ScanJoin::state(findings), Observations::folded(said)};
}

std::optional<ConnectorOutcome> OpenCodeConnector::storeRefusal() const {
    const std::string store = paths.sessionDatabase();
    const auto writer = OpenCodeSessionStore::writer(store);
    if (!isTooOld(writer)) return std::nullopt;
    if (auto fault = missingReader(writer)) return Commitment::refused(PlanFailure{store, std::move(*fault)});
    return ConnectorOutcome::refused(
        {{store,
          "this is OpenCode 1's session store; update OpenCode and open it once, then tick it again. Nothing was "
          "written"}});
}

std::optional<ConnectorOutcome> OpenCodeConnector::readingRefusal(const Reading& read) const {
    if (!read.unreadable) return std::nullopt;
    const UnreadFile unread{paths.configFile, FileDocuments::name(configFormat), *read.unreadable};
    return Commitment::refused(std::span{&unread, 1});
}

std::optional<ConnectorOutcome> OpenCodeConnector::handWrittenRefusal(const Reading& read) const {
    auto reason = read.document ? OpenCodeMCP{paths}.refusalReason(*read.document, read.createdEntry()) : std::nullopt;
    if (!reason) return std::nullopt;
    return Commitment::refused(PlanFailure{paths.configFile, std::move(*reason)});
}

std::expected<OpenCodeConnector::Plan, PlanFailure> OpenCodeConnector::planInstallation(const Reading& read) const {
    const std::string_view format = FileDocuments::name(configFormat);
    Plan plan{{read.config, {}, entryNoun, format},
              {read.plugin, {}, pluginNoun, FileDocuments::name(FileFormat::text)}};
    if (read.config.path == read.plugin.path) {
        return std::unexpected{PlanFailure{paths.pluginFile, "this path leads to the configuration file"}};
    }
    if (!read.document) plan.made.created.insert(Created::openCodeConfigFile);
    if (!read.ownership) plan.made.created.insert(Created::openCodePluginFile);
    auto document = read.document ? *read.document
                                  : JSONDocument::read(asBytes(OpenCodeMCP::seed), JSONDialect::withComments).value();
    if (OpenCodeMCP::isAdoptableShell(document)) plan.made.adopted.insert(Adopted::openCodeMCPEntryShell);
    auto installed = OpenCodeMCP{paths}.installed(document);
    if (!installed) return std::unexpected{PlanFailure{paths.configFile, installed.error().description()}};
    plan.made.created.merge(installed->created);
    plan.config.after = installed->document.bytes();
    plan.plugin.after = copyBytes(OpenCodePlugin::source(paths.hookBinary));
    if (const std::size_t count = installed->commentsReplaced; count > 0) {
        plan.notes.push_back(
            {paths.configFile, fmt::format("{} comment {} inside the Larkmoor entry here {} written over", count,
                                           count == 1 ? "line" : "lines", count == 1 ? "was" : "were")});
    }
    if (read.ownership == PluginOwnership::stale) {
        plan.notes.push_back(
            {paths.pluginFile, "the plugin file here was written by another Larkmoor build and was replaced"});
    }
    return plan;
}

ConnectorOutcome OpenCodeConnector::install() const {
    if (auto refusal = storeRefusal()) return std::move(*refusal);
    if (!Files::exists(paths.configDirectory)) {
        return ConnectorOutcome::refused(
            {{paths.configDirectory, "there is no OpenCode configuration here, so nothing was written"}});
    }
    const Reading read = reading();
    if (auto refusal = readingRefusal(read)) return std::move(*refusal);
    if (auto refusal = handWrittenRefusal(read)) return std::move(*refusal);
    if (read.ownership == PluginOwnership::foreign) {
        return ConnectorOutcome::refused(
            {{paths.pluginFile, fmt::format("{}, so nothing was written", foreignPlugin)}});
    }
    auto plan = planInstallation(read);
    if (!plan) return Commitment::refused(plan.error());
    // The transaction knows of files only.
    std::optional<NewFolder> folder;
    if ((plan->config.changes() || plan->plugin.changes()) && !Files::exists(paths.pluginsDirectory)) {
        if (const auto made = Files::makeFolders(paths.pluginsDirectory, 0777); !made) {
            return ConnectorOutcome::refused(
                {{paths.pluginsDirectory,
                  "this folder was not made, so nothing was written — " + made.error().reason()}});
        }
        folder.emplace(paths.pluginsDirectory);
        plan->made.created.insert(Created::openCodePluginsDirectory);
    }
    const PlannedFile files[] = {plan->config, plan->plugin};
    ConnectorOutcome outcome = Commitment::installed(files, {paths.receiptFile}, plan->made, commitOptions());
    if (outcome.result == ConnectorOutcome::Result::refused) return outcome;
    if (outcome.result == ConnectorOutcome::Result::changed) {
        if (folder) folder->keep();
        std::ranges::move(plan->notes, std::back_inserter(outcome.observations));
    }
    if (read.document && OpenCodeMCP::isSwitchedOff(*read.document)) {
        outcome.observations.push_back({paths.configFile, std::string{OpenCodeMCP::switchedOff}});
    }
    return outcome;
}

std::expected<OpenCodeConnector::Plan, PlanFailure> OpenCodeConnector::planRemoval(const Reading& read) const {
    const std::string_view format = FileDocuments::name(configFormat);
    Plan plan{{read.config, read.config.bytes, entryNoun, format},
              {read.plugin, read.plugin.bytes, pluginNoun, FileDocuments::name(FileFormat::text)}};
    if (read.document) {
        auto removed = OpenCodeMCP::removed(*read.document, read.receipt.created, read.receipt.adopted);
        if (!removed) return std::unexpected{PlanFailure{paths.configFile, removed.error().description()}};
        for (std::string& leftover : removed->leftovers) plan.notes.push_back({paths.configFile, std::move(leftover)});
        const std::optional<FileDocument> left = std::move(removed->document);
        if (left) plan.config.after = copyBytes(FileDocuments::bytes(*left));
        const bool isEmpty = left && FileDocuments::isEmptyTopLevel(*left);
        if (isEmpty && read.receipt.created.contains(Created::openCodeConfigFile)) {
            plan.config.after.reset();
            plan.notes.push_back({paths.configFile, fileCreatedByUs});
        } else if (isEmpty && plan.config.changes()) {
            plan.notes.push_back(
                {paths.configFile, "this file is now empty and remains, because Larkmoor did not create it"});
        }
    }
    if (read.ownership && *read.ownership != PluginOwnership::foreign) {
        plan.plugin.after.reset();
        plan.notes.push_back({paths.pluginFile, fileCreatedByUs});
    }
    if (read.config.path == read.plugin.path) plan.plugin.after = plan.config.after;
    return plan;
}

ConnectorOutcome OpenCodeConnector::remove() const {
    const Reading read = reading();
    const bool isForeign = read.ownership == PluginOwnership::foreign;
    if (auto refusal = readingRefusal(read)) return std::move(*refusal);
    if (auto refusal = handWrittenRefusal(read)) {
        if (read.ownership && !isForeign) {
            refusal->observations.push_back(
                {paths.pluginFile, "the Larkmoor plugin here is still in place and still runs " + paths.hookCommand()});
        }
        return std::move(*refusal);
    }
    auto plan = planRemoval(read);
    if (!plan) return Commitment::refused(plan.error());
    const PlannedFile files[] = {plan->config, plan->plugin};
    ConnectorOutcome outcome = Commitment::removed(files, {paths.receiptFile}, {}, commitOptions());
    if (outcome.result == ConnectorOutcome::Result::changed) {
        if (auto folder = leavingPluginsFolder(read.receipt)) plan->notes.push_back(std::move(*folder));
        std::ranges::move(plan->notes, std::back_inserter(outcome.observations));
    }
    if (isForeign) {
        outcome.observations.push_back({paths.pluginFile, fmt::format("{}, and it was left as it is", foreignPlugin)});
    }
    return outcome;
}

bool OpenCodeConnector::onlyOurBackupsRemain(const std::string& in) const {
    const std::string copy = fmt::format("{}.larkmoor-backup", ConfigPath::lastComponent(paths.pluginFile));
    const auto names = Files::names(in);
    return names && std::ranges::all_of(*names, [&](const std::string& name) { return name.starts_with(copy); });
}

std::optional<Observation> OpenCodeConnector::leavingPluginsFolder(const ConnectorReceipt& receipt) const {
    const std::string& folder = paths.pluginsDirectory;
    const auto names = Files::names(folder);
    if (!names) return std::nullopt;
    if (names->empty()) {
        const bool isOurs = receipt.created.contains(Created::openCodePluginsDirectory);
        if (!isOurs || ::rmdir(folder.c_str()) != 0) return std::nullopt;
        return Observation{folder, "this folder was created when Larkmoor connected and was removed"};
    }
    if (!onlyOurBackupsRemain(folder)) return Observation{folder, "this folder holds other files and remains"};
    return Observation{folder, "this folder holds the copy of the plugin that was made here first and remains"};
}

bool OpenCodeConnector::staleOwnWiring() const {
    const HarnessFile plugin = HarnessFile::read(paths.pluginFile);
    if (!plugin.bytes || OpenCodePlugin::ownership(*plugin.bytes, paths.hookBinary) != PluginOwnership::stale ||
        !OpenCodePlugin::runs(*plugin.bytes, paths.hookBinary)) {
        return false;
    }
    const HarnessFile config = HarnessFile::read(paths.configFile);
    if (!config.bytes) return false;
    const auto document = JSONDocument::read(BytesView{*config.bytes}, JSONDialect::withComments);
    const JSONNode* entry = document ? OpenCodeMCP::entryIn(*document) : nullptr;
    return entry != nullptr && OpenCodeMCP::statedCommand(*entry) == paths.mcpBinary &&
           Files::exists(paths.hookBinary) && !isTooOld(OpenCodeSessionStore::writer(paths.sessionDatabase()));
}

ProjectReport OpenCodeConnector::projects() const { return OpenCodeInventory::projects(paths); }

MemoryFileReport OpenCodeConnector::memoryFiles() const { return OpenCodeInventory::memoryFiles(paths); }

}  // namespace larkmoor

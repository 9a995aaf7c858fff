// Receipt: the record of what a connector created around its entries, one small file for each harness in our own
// folder. Our entries are recognised by their shape, not by the receipt. The receipt only decides whether we may remove
// the containers that they leave empty.
#pragma once

#include <boost/describe.hpp>

#include <expected>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor {

/// What a connector created, and so may remove with its entries. The names of the cases, like those of `Adopted`, are
/// stored in receipts on users' disks: cases may be added, but not renamed.
// clang-format off
BOOST_DEFINE_ENUM_CLASS(Created,
    settingsFile, hooksObject, eventArray, hookGroup, preToolEventArray, preToolGroup, mcpFile, mcpServersObject,
    claudeChatFile, claudeChatServersObject,
    codexHooksFile, codexHooksObject, codexEventArray, codexHookGroup,
    codexConfigFile, codexMCPTable, codexTrustTable, codexConfigTrailingNewline,
    cursorHooksFile, cursorHooksObject, cursorEventArray, cursorPreToolEventArray,
    cursorMCPFile, cursorMCPServersObject,
    openCodeConfigFile, openCodeMCPObject, openCodeMCPEntry, openCodePluginsDirectory, openCodePluginFile)
// clang-format on

/// What belonged to the user before and became part of our wiring.
BOOST_DEFINE_ENUM_CLASS(Adopted, openCodeMCPEntryShell)

/// What one installation adds to a receipt; everything else in the receipt stays.
struct ReceiptAddition {
    std::set<Created> created{};
    std::set<Adopted> adopted{};
    std::optional<std::set<std::string>> trustSlots{};  ///< replaces those in the receipt
    /// If set, its result replaces that in the receipt, also by "unknown" (nullopt). Called only for a receipt that is
    /// to be written.
    std::function<std::optional<std::string>()> appVersion{};

    /// Adds what is in `other`; its trust slots and version, if any, replace ours.
    void merge(ReceiptAddition other);
};

struct ConnectorReceipt {
    std::set<Created> created;
    std::set<Adopted> adopted;
    std::set<std::string> trustSlots;
    std::optional<std::string> appVersion;

    ConnectorReceipt with(ReceiptAddition made) const;

    /// The file's bytes, which depend on the content alone.
    Bytes encoded() const;

    /// nullopt if the bytes are not a valid receipt or contain a value that this build does not know.
    static std::optional<ConnectorReceipt> decoded(BytesView bytes);

    bool operator==(const ConnectorReceipt&) const = default;
};

/// One harness's receipt on the disk. This program alone writes it.
struct ReceiptStore {
    std::string file;

    /// The receipt of that name in the user's support folder.
    static std::string path(const std::string& home, std::string_view name);

    /// The empty receipt if the file does not exist or cannot be decoded: then nothing counts as created by us.
    ConnectorReceipt read() const;

    /// Writes the file with mode 0600, and creates missing folders with mode 0700.
    std::expected<void, ConfigFileError> write(const ConnectorReceipt& receipt) const;

    /// A failure is ignored: the file may not exist.
    void remove() const;
};

}  // namespace larkmoor

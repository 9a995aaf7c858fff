// Receipt: the record of what a connector made around its entries, one small file for each harness in our own folder.
// It decides nothing about the entries, which are proven by their shape; it decides who owns the empty shell that they
// leave.
#pragma once

#include <boost/describe.hpp>

#include <expected>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor {

/// What a connector made, and so may take away with its entries. The texts stand in receipts on people's disks, as
/// those of `Adopted` do: a case may be added, and none renamed.
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

/// What was the user's before and became part of our wiring.
BOOST_DEFINE_ENUM_CLASS(Adopted, openCodeMCPEntryShell)

/// What one install adds to a receipt; the rest of it stays as it was.
struct ReceiptAddition {
    std::set<Created> created{};
    std::set<Adopted> adopted{};
    std::optional<std::set<std::string>> trustSlots{};  ///< in the place of those that it has
    std::optional<std::string> appVersion{};

    /// Takes over what `other` has.
    void merge(ReceiptAddition other);

    bool operator==(const ReceiptAddition&) const = default;
};

struct ConnectorReceipt {
    std::set<Created> created;
    std::set<Adopted> adopted;
    std::set<std::string> trustSlots;
    std::optional<std::string> appVersion;

    ConnectorReceipt with(ReceiptAddition made) const;

    /// The file's bytes, which depend on the content alone.
    Bytes encoded() const;

    /// Nothing for what does not read, or holds a value that this build does not know.
    static std::optional<ConnectorReceipt> decoded(BytesView bytes);

    bool operator==(const ConnectorReceipt&) const = default;
};

/// One harness's receipt on the disk. This program alone writes it.
struct ReceiptStore {
    std::string file;

    /// The receipt of that name in the user's support folder.
    static std::string path(const std::string& home, std::string_view name);

    /// The empty receipt where the file is not there or does not decode: then nothing counts as made by us.
    ConnectorReceipt read() const;

    /// Private, as are the folders made for it.
    std::expected<void, ConfigFileError> write(const ConnectorReceipt& receipt) const;

    /// A failure is ignored: the file may not be there.
    void remove() const;
};

}  // namespace larkmoor

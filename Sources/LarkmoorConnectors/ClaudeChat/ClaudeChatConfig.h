// The entries that earlier builds put into the chat application's configuration. There is no key that is ours by name:
// an entry is ours by what it runs. Maps bytes to bytes and touches no file.
#pragma once

#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ClaudeChat/ClaudeChatPaths.h"
#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/Framework/Profile.h"

namespace larkmoor {

struct ClaudeChatConfig {
    ClaudeChatPaths paths;

    struct Retired {
        Bytes bytes;
        std::vector<std::string> names;  ///< the keys removed, in file order
    };
    using Planned = std::expected<Retired, JSONEditFailure>;

    /// The members of `mcpServers` that are ours and of this build family; valid as long as `root` is.
    std::vector<const JSONMember*> ours(const JSONNode& root, Connectors::Profile profile) const;

    // Each also for a document that was scanned already; `root` is the scan of `bytes`.

    /// Without those; an object that they leave empty stays.
    Planned retired(BytesView bytes, Connectors::Profile profile) const;
    Planned retired(BytesView bytes, const JSONNode& root, Connectors::Profile profile) const;

    std::optional<std::string> unreadableReason(BytesView bytes, Connectors::Profile profile) const;
    std::optional<std::string> unreadableReason(const JSONNode& root, Connectors::Profile profile) const;
};

}  // namespace larkmoor

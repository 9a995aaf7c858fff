// Where the Claude chat application keeps the configuration that an earlier build wrote into.
#pragma once

#include <string>

namespace larkmoor {

/// All absolute.
struct ClaudeChatPaths {
    std::string configDirectory;
    std::string configFile;
    std::string receiptFile;  ///< of that earlier build; neither read nor written any more
    std::string mcpBinary;

    static ClaudeChatPaths under(const std::string& home, const std::string& bundle);

    bool operator==(const ClaudeChatPaths&) const = default;
};

}  // namespace larkmoor

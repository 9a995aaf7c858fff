// What a connector made around its entries, and so may take away with them. The texts stand in receipts on people's
// disks: a case may be added, and none renamed.
#pragma once

#include <boost/describe.hpp>

namespace larkmoor {

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

}  // namespace larkmoor

// The record of what we made: its bytes on people's disks, and what is believed of it.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"
#include "LarkmoorConnectors/ConfigFile/JSONShown.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

namespace larkmoor {
namespace {

using testing::ConfigFolder;
using testing::text;
using testing::unfolded;

const std::string full = unfolded(
    "{|  'adopted': [|    'openCodeMCPEntryShell'|  ],|  'appVersion': '1.2 \\'x\\'',|  'created': [|    'eventArray',|"
    "    'hooksObject',|    'settingsFile'|  ],|  'trustSlots': [|    'a:0',|    'b:1'|  ]|}|");

ConnectorReceipt fullReceipt() {
    return {{Created::settingsFile, Created::hooksObject, Created::eventArray},
            {Adopted::openCodeMCPEntryShell},
            {"b:1", "a:0"},
            "1.2 \"x\""};
}

TEST(ConnectorReceiptTest, TheFileIsFrozen) {
    EXPECT_EQ(text(fullReceipt().encoded()), full);
    EXPECT_EQ(ConnectorReceipt::decoded(asBytes(full)), fullReceipt());
    EXPECT_EQ(text(ConnectorReceipt{}.encoded()),
              "{\n  \"adopted\": [],\n  \"created\": [],\n  \"trustSlots\": []\n}\n");
}

TEST(ConnectorReceiptTest, EveryCaseIsWrittenByItsName) {
    constexpr const char* names =
        R"({"created":["settingsFile","hooksObject","eventArray","hookGroup","preToolEventArray","preToolGroup","mcpFile",
        "mcpServersObject","claudeChatFile","claudeChatServersObject","codexHooksFile","codexHooksObject","codexEventArray",
        "codexHookGroup","codexConfigFile","codexMCPTable","codexTrustTable","codexConfigTrailingNewline","cursorHooksFile",
        "cursorHooksObject","cursorEventArray","cursorPreToolEventArray","cursorMCPFile","cursorMCPServersObject",
        "openCodeConfigFile","openCodeMCPObject","openCodeMCPEntry","openCodePluginsDirectory","openCodePluginFile"]})";
    const auto receipt = ConnectorReceipt::decoded(asBytes(names));
    ASSERT_TRUE(receipt);
    EXPECT_EQ(receipt->created.size(), 29U);
    EXPECT_EQ(ConnectorReceipt::decoded(receipt->encoded()), receipt);
}

TEST(ConnectorReceiptTest, WhatDoesNotDecodeIsNoReceipt) {
    const ConnectorReceipt made{{Created::hookGroup}, {}, {}, {}};
    struct Case {
        std::string_view in;
        std::optional<ConnectorReceipt> want;
    };
    const Case table[] = {
        {R"({"created":["hookGroup"]})", made},
        {R"({"created":["hookGroup"],"appVersion":null,"adopted":null,"later":7})", made},
        {R"({})", std::nullopt},
        {R"({"created":null})", std::nullopt},
        {R"({"created":["hookGroup","later"]})", std::nullopt},
        {R"({"created":["hookGroup"],"adopted":["later"]})", std::nullopt},
        {R"({"created":["hookGroup"],"trustSlots":[1]})", std::nullopt},
        {R"({"created":["hookGroup"],"appVersion":1})", std::nullopt},
        {R"({"created":["hookGroup"],"created":[]})", std::nullopt},
        {R"(["hookGroup"])", std::nullopt},
        {"", std::nullopt},
    };
    for (const Case& row : table) EXPECT_EQ(ConnectorReceipt::decoded(asBytes(row.in)), row.want) << row.in;
}

TEST(ReceiptStoreTest, PrivateFromTheFirst) {
    const ConfigFolder folder;
    const std::string connectors = "Library/Application Support/Larkmoor/Connectors", file = connectors + "/codex.json";
    const ReceiptStore store{ReceiptStore::path(folder.path(), "codex")};
    EXPECT_EQ(store.file, folder.path(file));
    store.remove();
    EXPECT_EQ(store.read(), ConnectorReceipt{});
    ASSERT_TRUE(store.write(fullReceipt()));
    EXPECT_EQ(folder.mode(file), 0600U);
    EXPECT_EQ(folder.mode(connectors), 0700U);
    EXPECT_EQ(folder.mode("Library"), 0700U);
    folder.setMode(file, 0644);
    ASSERT_TRUE(store.write(fullReceipt()));
    EXPECT_EQ(folder.mode(file), 0600U);
    EXPECT_EQ(store.read(), fullReceipt());
    EXPECT_EQ(folder.files().size(), 1U);
    store.remove();
    EXPECT_FALSE(Files::exists(store.file));
}

}  // namespace
}  // namespace larkmoor

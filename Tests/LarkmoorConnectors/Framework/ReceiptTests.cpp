// The record of what we made: its bytes on people's disks, and what is believed of it.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

namespace larkmoor {
namespace {

using testing::ConfigFolder;
using testing::text;

const ConnectorReceipt full{{Created::settingsFile, Created::hooksObject, Created::eventArray},
                            {Adopted::openCodeMCPEntryShell},
                            {"b:1", "a:0"},
                            "1.2 \"x\""};

TEST(ConnectorReceiptTest, TheFileIsFrozen) {
    EXPECT_EQ(text(full.encoded()), testing::testData("connectors/receipt.json"));
    EXPECT_EQ(ConnectorReceipt::decoded(full.encoded()), full);
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
    EXPECT_EQ(
        ConnectorReceipt::decoded(asBytes(R"({"created":["hookGroup"],"appVersion":null,"adopted":null,"later":7})")),
        made);
    for (const char* in :
         {R"({})", R"({"created":null})", R"({"created":["hookGroup","later"]})",
          R"({"created":["hookGroup"],"adopted":["later"]})", R"({"created":["hookGroup"],"trustSlots":[1]})",
          R"({"created":["hookGroup"],"appVersion":1})", R"({"created":["hookGroup"],"created":[]})",
          R"(["hookGroup"])", ""}) {
        EXPECT_EQ(ConnectorReceipt::decoded(asBytes(in)), std::nullopt) << in;
    }
}

TEST(ReceiptStoreTest, PrivateFromTheFirst) {
    const ConfigFolder folder;
    const std::string connectors = "Library/Application Support/Larkmoor/Connectors", file = connectors + "/codex.json";
    const ReceiptStore store{ReceiptStore::path(folder.path(), "codex")};
    EXPECT_EQ(store.file, folder.path(file));
    store.remove();
    EXPECT_EQ(store.read(), ConnectorReceipt{});
    ASSERT_TRUE(store.write(full));
    EXPECT_EQ(folder.mode(file), 0600U);
    EXPECT_EQ(folder.mode(connectors), 0700U);
    EXPECT_EQ(folder.mode("Library"), 0700U);
    folder.setMode(file, 0644);
    ASSERT_TRUE(store.write(full));
    EXPECT_EQ(folder.mode(file), 0600U);
    EXPECT_EQ(store.read(), full);
    store.remove();
    EXPECT_EQ(folder.files().size(), 0U);
}

}  // namespace
}  // namespace larkmoor

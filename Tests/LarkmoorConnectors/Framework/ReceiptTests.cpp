// The record of what we made: its bytes on people's disks, and what is believed of it.
#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

namespace larkmoor::testing {
namespace {

const std::string frozen = testData("connectors/receipt.json");

TEST(ConnectorReceiptTest, TheFileIsFrozenWithEveryName) {
    const auto receipt = ConnectorReceipt::decoded(asBytes(frozen));
    ASSERT_TRUE(receipt);
    EXPECT_EQ(receipt->created.size(), 29U);
    EXPECT_EQ(*receipt,
              (ConnectorReceipt{receipt->created, {Adopted::openCodeMCPEntryShell}, {"b:1", "a:0"}, "1.2 \"x\""}));
    EXPECT_EQ(text(receipt->encoded()), frozen);
    EXPECT_EQ(text(ConnectorReceipt{}.encoded()),
              "{\n  \"adopted\": [],\n  \"created\": [],\n  \"trustSlots\": []\n}\n");
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
    const auto full = ConnectorReceipt::decoded(asBytes(frozen)).value();
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
}  // namespace larkmoor::testing

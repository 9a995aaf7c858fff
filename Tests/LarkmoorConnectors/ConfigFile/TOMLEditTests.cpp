// What each edit of a TOML file makes of the whole file.
#include "LarkmoorConnectors/ConfigFile/TOMLEdit.h"

#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/TOMLText.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using testing::text;

const TOMLName server{"mcp_servers", "larkmoor"};
const std::vector<TOMLEdit::Line> two{{"command", "\"/bin/x\""}, {"args", "[]"}};

#define HEADER "[mcp_servers.larkmoor]"
#define LINES "\ncommand = \"/bin/x\"\nargs = []\n"

TEST(TOMLEdit, SetsATableAndLeavesTheRest) {
    struct Case {
        std::string_view name, in, want;
        bool created, appended;
    };
    const Case table[] = {
        {"an empty file", "", HEADER LINES, true, false},
        {"at the end", "a = 1\n", "a = 1\n\n" HEADER LINES, true, false},
        {"no final line feed", "a = 1", "a = 1\n\n" HEADER LINES, true, true},
        {"line endings of two bytes", "a = 1\nb = 2\r\n",
         "a = 1\nb = 2\r\n\r\n" HEADER "\r\ncommand = \"/bin/x\"\r\nargs = []\r\n", true, false},
        {"two bytes, and none at the end", "a = 1\r\nb = 2",
         "a = 1\r\nb = 2\r\n\r\n" HEADER "\r\ncommand = \"/bin/x\"\r\nargs = []\r\n", true, true},
        {"a mark of byte order",
         "\xEF\xBB\xBF"
         "a=1\n",
         "\xEF\xBB\xBF"
         "a=1\n\n" HEADER LINES,
         true, false},
        {"in place, comments included",
         "x=1\n\n [ mcp_servers . 'larkmoor' ] # ours\n# note\nold = 1 # y\n\n  [b]\nz=1\n",
         "x=1\n\n [ mcp_servers . 'larkmoor' ] # ours\ncommand = \"/bin/x\"\nargs = []\n[b]\nz=1\n", false, false},
        {"a header that ends the file", HEADER, HEADER LINES, false, true},
        {"a header and a comment", "a=1\r\n" HEADER " # c",
         "a=1\r\n" HEADER " # c\r\ncommand = \"/bin/x\"\r\nargs = []\r\n", false, true},
    };
    for (const Case& row : table) {
        const auto result = TOMLEdit::setTable(asBytes(row.in), server, two);
        ASSERT_TRUE(result) << row.name;
        EXPECT_EQ(text(result->bytes), row.want) << row.name;
        EXPECT_EQ(result->created, row.created) << row.name;
        EXPECT_EQ(result->appendedTrailingNewline, row.appended) << row.name;
        const auto again = TOMLEdit::setTable(result->bytes, server, two);
        ASSERT_TRUE(again) << row.name;
        EXPECT_EQ(again->bytes, result->bytes) << row.name << ", set twice";
    }
    const auto quoted = TOMLEdit::setTable({}, {"hooks", "state", "/h:user \"x\""}, {});
    ASSERT_TRUE(quoted);
    EXPECT_EQ(text(quoted->bytes), "[hooks.state.\"/h:user \\\"x\\\"\"]\n");
}

TEST(TOMLEdit, SetsAKeyAndLeavesTheRestOfItsLine) {
    struct Case {
        std::string_view name, in, want;
        bool appended;
    };
    const Case table[] = {
        {"in place", "[t]\nkey=\"a\"\t# note\nb = 2\n", "[t]\nkey = \"new\"\t# note\nb = 2\n", false},
        {"its other spelling", "[t]\n  'key' = [ 1,\n2 ]\r\n", "[t]\n  key = \"new\"\r\n", false},
        {"a dotted key is another", "[t]\nkey.x = 1\n", "[t]\nkey.x = 1\nkey = \"new\"\n", false},
        {"a bare header", "[t]", "[t]\nkey = \"new\"\n", true},
        {"below the blank line before the next table", "[t]\na = 1\n\n[u]\nkey = 2\n",
         "[t]\na = 1\n\nkey = \"new\"\n[u]\nkey = 2\n", false},
        {"before an indented table", "[t]\n  [u]\n", "[t]\n  \nkey = \"new\"\n[u]\n", true},
    };
    for (const Case& row : table) {
        const auto document = TOMLText::scan(asBytes(row.in));
        ASSERT_TRUE(document) << row.name;
        const TOMLTable& t = *document->table({"t"});
        const auto result = TOMLEdit::setKey(asBytes(row.in), t, document->entries(t), "key", "\"new\"");
        ASSERT_TRUE(result) << row.name;
        EXPECT_EQ(text(result->bytes), row.want) << row.name;
        EXPECT_EQ(result->appendedTrailingNewline, row.appended) << row.name;
    }
    const auto empty = TOMLText::scan({});
    const auto quoted = TOMLEdit::setKey({}, empty->tables.front(), {}, "a b", "1");
    ASSERT_TRUE(quoted);
    EXPECT_EQ(*quoted, (TOMLEdit::KeySet{copyBytes("\"a b\" = 1\n"), false}));
}

TEST(TOMLEdit, AnEditThatWouldNotScanIsRefused) {
    const auto reason = [](const auto& result) { return result ? "" : result.error().description(); };
    EXPECT_EQ(reason(TOMLEdit::setTable(asBytes("a = 1 2"), server, two)),
              "there are bytes after the end of a value (at byte 4)");
    const std::vector<TOMLEdit::Line> bad{{"command", "\"open"}};
    EXPECT_EQ(reason(TOMLEdit::setTable({}, {"t"}, bad)), "a string ran past the end of its line (at byte 14)");
    EXPECT_EQ(reason(TOMLEdit::setTable(asBytes("a = 1\r\nb = 2\r"), server, two)),
              "there are bytes after the end of a value (at byte 13)");
    constexpr std::string_view file = "[t]\nkey = 1\n";
    const auto document = TOMLText::scan(asBytes(file));
    const TOMLTable& t = *document->table({"t"});
    EXPECT_EQ(reason(TOMLEdit::setKey(asBytes(file), t, document->entries(t), "key", "[1")),
              "a value was left open at the end of the file (at byte 10)");
    EXPECT_EQ(reason(TOMLEdit::removeTable(asBytes("a"), server)), "the file ended inside a key (at byte 1)");
    EXPECT_EQ(reason(TOMLEdit::removeTable(asBytes("[[mcp_servers.larkmoor]]"), server)),
              "[mcp_servers.larkmoor] is not in this file");
    EXPECT_EQ(reason(TOMLEdit::removeTable({}, {"a b", "c"})), "[\"a b\".c] is not in this file");
}

TEST(TOMLEdit, RemovesATableWithOneBlankLineAbove) {
    struct Case {
        std::string_view name, in, want;
    };
    const Case table[] = {
        {"with a blank line", "a = 1\n\n[t]\nx = 1\n", "a = 1\n"},
        {"never with two", "a = 1\n\n\n[t]\nx = 1\n[u]\n", "a = 1\n\n[u]\n"},
        {"a blank line of blanks", "a = 1\n \t\r\n[t]\n", "a = 1\n"},
        {"not with a comment", "a = 1\n# x\n[t]\n", "a = 1\n# x\n"},
        {"not with a line", "a = 1\n[t]\nx = 1\n", "a = 1\n"},
        {"with all of its body", "[t]\n# x\nx = 1\n\n\n[u]\n", "[u]\n"},
        {"alone", "[t]\nx = 1", ""},
        {"first, behind a blank line", "\n[t]\nx = 1\n\n[u]\n", "[u]\n"},
        {"first, behind a mark of byte order", "\xEF\xBB\xBF\n[t]\n[u]\n", "\xEF\xBB\xBF[u]\n"},
        {"indented, like the next", "a = 1\n\n  [t]\n  x = 1\n  [u]\n", "a = 1\n\n  [u]\n"},
        {"the first of its name that is no array", "[[t]]\n[t]\nx = 1\n[t]\n", "[[t]]\n[t]\n"},
    };
    for (const Case& row : table) {
        const auto result = TOMLEdit::removeTable(asBytes(row.in), {"t"});
        ASSERT_TRUE(result) << row.name;
        EXPECT_EQ(text(*result), row.want) << row.name;
    }
}

}  // namespace
}  // namespace larkmoor

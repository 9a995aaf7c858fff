// What a scan of a TOML file finds, where, and what it refuses.
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace larkmoor {
namespace {

using namespace std::string_view_literals;

/// One line for each table, "[name] headerStart bodyStart bodyEnd", and under it one for each of its entries,
/// "key | raw | keyStart valueEnd lineEnd"; or the refusal.
std::string outline(std::string_view file) {
    const auto document = TOMLText::scan(asBytes(file));
    if (!document) return document.error().description();
    std::string lines;
    for (const TOMLTable& table : document->tables) {
        const std::string name = TOMLText::joined(table.name);
        lines += fmt::format(fmt::runtime(table.isArrayElement ? "[[{}]] {} {} {}\n" : "[{}] {} {} {}\n"), name,
                             table.headerStart, table.bodyStart, table.bodyEnd);
        for (const TOMLEntry& entry : document->entries(table)) {
            lines += fmt::format("{} | {} | {} {} {}\n", TOMLText::joined(entry.key), entry.raw, entry.keyStart,
                                 entry.valueEnd, entry.lineEnd);
        }
    }
    return lines;
}

struct Case {
    std::string_view name, in, want;
};

TEST(TOMLText, FindsTablesAndEntriesByTheirBytes) {
    const Case table[] = {
        {"nothing", "", "[] 0 0 0\n"},
        {"an indented header begins at its bracket", "[a]\n  [b]\n", "[] 0 0 0\n[a] 0 4 6\n[b] 6 10 10\n"},
        {"a mark of byte order", "\xEF\xBB\xBF[a]\n", "[] 3 3 3\n[a] 3 7 7\n"},
        {"carriage returns", "[a]\r\nx = 1 \r\n", "[] 0 0 0\n[a] 0 5 13\nx | 1 | 5 10 13\n"},
        {"a carriage return ends the file", "x = 1\r", "[] 0 0 6\nx | 1 | 0 5 6\n"},
        {"a line that a carriage return begins is no line", "\rx = 1\ny=2\n", "[] 0 0 11\ny | 2 | 7 10 11\n"},
        {"a dotted key", " a . 'b.c' . \"d\" = 1\n", "[] 0 0 21\na.\"b.c\".d | 1 | 1 20 21\n"},
        {"a date with its time", "a = 1979-05-27 07:32:00 # x\n", "[] 0 0 28\na | 1979-05-27 07:32:00 | 0 23 28\n"},
        {"an array over lines", "a = [1, # ]\n2 ] # c\n", "[] 0 0 20\na | [1, # ]\n2 ] | 0 15 20\n"},
        {"a multi-line string", "a = \"\"\"x\n[b]\\\"\"\"\"\n", "[] 0 0 18\na | \"\"\"x\n[b]\\\"\"\"\" | 0 17 18\n"},
        {"two quotes more", "a = '''x'''''\n", "[] 0 0 14\na | '''x''''' | 0 13 14\n"},
        {"lone quotes within", "a = \"\"\"x\"\"y\"\"\"\n", "[] 0 0 15\na | \"\"\"x\"\"y\"\"\" | 0 14 15\n"},
        {"a backslash in a literal one", "a = '''\\'''\n", "[] 0 0 12\na | '''\\''' | 0 11 12\n"},
        {"two values without a blank are not told apart", "a = 1[2]\n", "[] 0 0 9\na | 1[2] | 0 8 9\n"},
        {"not even behind a time", "a = 1979-05-27 07:32[2]\n", "[] 0 0 24\na | 1979-05-27 07:32[2] | 0 23 24\n"},
    };
    for (const Case& row : table) EXPECT_EQ(outline(row.in), row.want) << row.name;
}

TEST(TOMLText, RefusesWhatItCannotDelimit) {
    struct Row {
        std::string_view want;
        std::vector<std::string_view> in;  ///< a ^ stands before the place
    };
    const Row table[] = {
        {"a key was expected", {"^= 1\n", "a. ^= 1\n", "[^]\n"}},
        {"the file ended inside a key", {"a^", "a . ^", "x=1\n[a^", "[[^"}},
        {"a key held a character that is not allowed in one",
         {"a ^b = 1\n", "caf^\xC3\xA9 = 1\n", "[a^\n]\n", "\"\"^\"a\"\"\" = 1\n"}},
        {"a table header did not close", {"[[a]^\n", "[[a]^ ]\n", "[[a]^"}},
        {"there are bytes after the end of a value",
         {"[a] ^b\n", "[a]\r^b\n", "a = 1\r^\r\n", "a = ^1 2\n", "a = ^[1] 2\n", "a = ^1\r2\n",
          "a = ^1979-05-27 7:32\n", "a = ^1979-05-27 07:32 1\n", "a = ^1979-05-27  07:32\n", "a = ^1979-05-27 07:3\n",
          "a = ^1979-05-27 0732\n", "a = ^1979-05-2x 07:32\n", "a = ^1979/05/27 07:32\n", "a = ^11979-05-27 07:32\n",
          "a = ^1979-05-27\t07:32\n"}},
        {"a value was expected", {"a = ^\n", "a =^# 1\n", "a =^"}},
        {"a value closed a bracket it never opened", {"a = ^[1]]\n", "a = ^}\n"}},
        {"a value was left open at the end of the file", {"a = ^[1", "a = ^[1 # ]", "a = ^{b = 1\n[c]\n"}},
        {"a multi-line string never closed", {"a = ^\"\"\"x\\\"\"\"", "a = [^'''x''"}},
        {"a string ran past the end of its line", {"a = ^\"x\n\"\n", "a = ^'x\n'\n"}},
        {"a string never closed", {"a = ^\"x", "a = ^'x", "^'a = 1"}},
        {"the file ended inside an escape", {"a = ^\"x\\"}},
        {"a string holds an escape that is not TOML's",
         {"a = ^\"\\x41\"\n", "a = ^\"\\\n\"\n", "a = ^\"\\u00e\"\n", "a = ^\"\\U0001F6"}},
        {"a string holds an escape that is not a character",
         {"a = ^\"\\uD800\"\n", "a = ^\"\\uDfff\"\n", "a = ^\"\\U00110000\"\n", "a = ^\"\\UFFFFFFFF\"\n"}},
        {"a string holds bytes that are not UTF-8", {"a = [1, ^\"\xFF\"]\n", "a = ^\"\xC3\\n\"\n", "a = ^'\xC3'\n"}},
    };
    for (const Row& row : table) {
        for (const std::string_view marked : row.in) {
            const std::size_t place = marked.find('^');
            const std::string in = std::string{marked}.erase(place, 1);
            EXPECT_EQ(outline(in), fmt::format("{} (at byte {})", row.want, place)) << in;
        }
    }
}

TEST(TOMLText, ATableIsFoundByItsWholeNameInAnySpellingAndNotAsAnArray) {
    for (const std::string_view header : {"[a.b]", "[ a . b ]", "[\"a\".'b']", "[\t\"\\u0061\" .b]"}) {
        const auto document = TOMLText::scan(asBytes(fmt::format("[[a.b]]\nx=1\n[a]\nx=2\n{}\nx=3\n[a.b]\n", header)));
        ASSERT_TRUE(document) << header;
        EXPECT_EQ(document->table({"a", "b"}), &document->tables[3]) << header;
        EXPECT_EQ(document->table({"a", "c"}), nullptr);
        EXPECT_EQ(document->table({}), &document->tables[0]);
    }
}

TEST(TOMLText, AValueIsTextOnlyIfAllOfItIsOneString) {
    struct Row {
        std::string_view value;
        std::optional<std::string_view> text;
    };
    const Row table[] = {
        {R"("a" # c)", "a"},
        {R"('a\n')", R"(a\n)"},
        {R"("")", ""},
        {"''", ""},
        {R"("\"\\\b\e\f\n\r\t\u00E9\U0001F600")", "\"\\\b\x1B\f\n\r\té😀"},
        {"\"a\x01\rb\"", "a\x01\rb"},
        {R"("""x""")", std::nullopt},
        {"''''''", std::nullopt},
        {R"("a""b")", std::nullopt},
        {R"("a"b)", std::nullopt},
        {R"(["a"])", std::nullopt},
        {"true", std::nullopt},
    };
    for (const Row& row : table) {
        const auto document = TOMLText::scan(asBytes(fmt::format("a = {}\n", row.value)));
        ASSERT_TRUE(document) << row.value;
        EXPECT_EQ(document->allEntries.front().text(), row.text) << row.value;
    }
    const auto nul = TOMLText::parseBasicString(asBytes(R"("\u0000")"), 0);
    ASSERT_TRUE(nul);
    EXPECT_EQ(nul->text, "\0"sv);
    EXPECT_EQ(nul->end, 8);
}

TEST(TOMLText, WritesNamesAndTexts) {
    EXPECT_EQ(TOMLText::joined(TOMLName{"mcp_servers", "larkmoor"}), "mcp_servers.larkmoor");
    EXPECT_EQ(TOMLText::joined(TOMLName{"a-Z_9", "", "b c", "é"}), R"(a-Z_9.""."b c"."é")");
    EXPECT_EQ(TOMLText::quote("a\"\\\t\n\r\x01\x1f\x7fé"), R"("a\"\\\t\n\r\u0001\u001F\u007Fé")");
}

TEST(TOMLText, SaysWhichShapesItCannotEdit) {
    const TOMLName owning[] = {{"mcp_servers", "larkmoor"}, {"hooks", "state", "a:b"}};
    const std::string array = " is an array of tables, which is not a shape this build can edit";
    const std::string outside =
        " states the Larkmoor block outside a table of its own, which is not a shape this build can edit";
    struct Row {
        std::string_view in;
        std::optional<std::string> want;
    };
    const Row table[] = {
        {"", std::nullopt},
        {"a=1\n[mcp_servers.other]\nx=1\nx=2\n[mcp_servers.larkmoor]\ncommand=''\n", std::nullopt},
        {"[mcp_servers.larkmoor.env]\nA='1'\n", std::nullopt},
        {"[[x]]\n[[x]]\n", std::nullopt},
        {"[mcp_servers]\nother = {}\n", std::nullopt},
        {"[[hooks.state.'a:b']]\n", "the table [[hooks.state.\"a:b\"]]" + array},
        {"[[hooks]]\n", "the table [[hooks]]" + array},
        {"[[mcp_servers.larkmoor.'a b']]\n", "the table [[mcp_servers.larkmoor.\"a b\"]]" + array},
        {"[mcp_servers.larkmoor]\n[a]\n[mcp_servers.\"larkmoor\"]\n",
         "the table [mcp_servers.larkmoor] is declared twice in this file"},
        {"[mcp_servers]\n[mcp_servers]\n", "the table [mcp_servers] is declared twice in this file"},
        {"mcp_servers.larkmoor.command = ''\n", "the key mcp_servers.larkmoor.command" + outside},
        {"[mcp_servers]\nlarkmoor = {}\n", "the key mcp_servers.larkmoor" + outside},
        {"mcp_servers = {}\n", "the key mcp_servers" + outside},
        {"[hooks.state.'a:b']\nx.'y z' = 1\nx = 2\nx.\"y z\" = 3\n",
         "the key x.\"y z\" appears twice in [hooks.state.\"a:b\"] (at byte 38)"},
        // Tables come before keys.
        {"mcp_servers = {}\n[[mcp_servers.larkmoor]]\n", "the table [[mcp_servers.larkmoor]]" + array},
    };
    for (const Row& row : table) {
        const auto document = TOMLText::scan(asBytes(row.in));
        ASSERT_TRUE(document) << row.in;
        EXPECT_EQ(TOMLText::unreadableReason(*document, owning), row.want) << row.in;
    }
}

}  // namespace
}  // namespace larkmoor

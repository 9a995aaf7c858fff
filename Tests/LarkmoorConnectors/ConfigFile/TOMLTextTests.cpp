// What a scan of a TOML file finds, where, and what it refuses.
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/TOMLString.h"
#include "LarkmoorConnectors/ConfigFile/TOMLValue.h"
#include "LarkmoorPlatform/UTF8.h"

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
        {"blanks alone", " \t\n\r\n \t", "[] 0 0 7\n"},
        {"a comment alone", "# [a]", "[] 0 0 5\n"},
        {"root entries", "a = 1\nb = 2", "[] 0 0 11\na | 1 | 0 5 6\nb | 2 | 6 11 11\n"},
        {"a table", "[a]\nx=1\n\n[b]\n", "[] 0 0 0\n[a] 0 4 9\nx | 1 | 4 7 8\n[b] 9 13 13\n"},
        {"an indented header begins at its bracket", "[a]\n  [b]\n", "[] 0 0 0\n[a] 0 4 6\n[b] 6 10 10\n"},
        {"a header that ends the file", "[a]", "[] 0 0 0\n[a] 0 3 3\n"},
        {"a header with a comment", "[a] # b\nx=1\n", "[] 0 0 0\n[a] 0 8 12\nx | 1 | 8 11 12\n"},
        {"an array element", "[[a]]\n[[ a ]]\n", "[] 0 0 0\n[[a]] 0 6 6\n[[a]] 6 14 14\n"},
        {"a mark of byte order", "\xEF\xBB\xBF[a]\n", "[] 3 3 3\n[a] 3 7 7\n"},
        {"a mark alone", "\xEF\xBB\xBF", "[] 3 3 3\n"},
        {"carriage returns", "[a]\r\nx = 1 \r\n", "[] 0 0 0\n[a] 0 5 13\nx | 1 | 5 10 13\n"},
        {"a carriage return ends the file", "x = 1\r", "[] 0 0 6\nx | 1 | 0 5 6\n"},
        {"a line that a carriage return begins is no line", "\rx = 1\ny=2\n", "[] 0 0 11\ny | 2 | 7 10 11\n"},
        {"a comment behind a value", "x = 1 \t# 2 \n", "[] 0 0 12\nx | 1 | 0 5 12\n"},
        {"a comment at once", "x=1#2\n", "[] 0 0 6\nx | 1 | 0 3 6\n"},
        {"a dotted key", " a . 'b.c' . \"d\" = 1\n", "[] 0 0 21\na.\"b.c\".d | 1 | 1 20 21\n"},
        {"a date with its time", "a = 1979-05-27 07:32:00 # x\n", "[] 0 0 28\na | 1979-05-27 07:32:00 | 0 23 28\n"},
        {"an array over lines", "a = [1, # ]\n2 ] # c\n", "[] 0 0 20\na | [1, # ]\n2 ] | 0 15 20\n"},
        {"brackets of both kinds", "a = {b = [1, {}]}\n", "[] 0 0 18\na | {b = [1, {}]} | 0 17 18\n"},
        {"a bracket in a string", "a = [\"]\", ']']\n", "[] 0 0 15\na | [\"]\", ']'] | 0 14 15\n"},
        {"a hash in a string", "a = \"#\" # c\n", "[] 0 0 12\na | \"#\" | 0 7 12\n"},
        {"a multi-line string", "a = \"\"\"x\n[b]\\\"\"\"\"\n", "[] 0 0 18\na | \"\"\"x\n[b]\\\"\"\"\" | 0 17 18\n"},
        {"two quotes more", "a = '''x'''''\n", "[] 0 0 14\na | '''x''''' | 0 13 14\n"},
        {"lone quotes within", "a = \"\"\"x\"\"y\"\"\"\n", "[] 0 0 15\na | \"\"\"x\"\"y\"\"\" | 0 14 15\n"},
        {"an empty multi-line string", "a = ''''''\n", "[] 0 0 11\na | '''''' | 0 10 11\n"},
        {"a backslash in a literal one", "a = '''\\'''\n", "[] 0 0 12\na | '''\\''' | 0 11 12\n"},
        {"two values without a blank are not told apart", "a = 1[2]\n", "[] 0 0 9\na | 1[2] | 0 8 9\n"},
        {"not even behind a time", "a = 1979-05-27 07:32[2]\n", "[] 0 0 24\na | 1979-05-27 07:32[2] | 0 23 24\n"},
    };
    for (const Case& row : table) EXPECT_EQ(outline(row.in), row.want) << row.name;
}

TEST(TOMLText, RefusesWhatItCannotDelimit) {
    const Case table[] = {
        {"no key", "= 1\n", "a key was expected (at byte 0)"},
        {"no part behind a dot", "a. = 1\n", "a key was expected (at byte 3)"},
        {"an empty header", "[]\n", "a key was expected (at byte 1)"},
        {"a key ends the file", "a", "the file ended inside a key (at byte 1)"},
        {"a dot ends the file", "a . ", "the file ended inside a key (at byte 4)"},
        {"a header ends the file", "x=1\n[a", "the file ended inside a key (at byte 6)"},
        {"a bracket ends the file", "[[", "the file ended inside a key (at byte 2)"},
        {"two words", "a b = 1\n", "a key held a character that is not allowed in one (at byte 2)"},
        {"a letter beyond ASCII", "caf\xC3\xA9 = 1\n", "a key held a character that is not allowed in one (at byte 3)"},
        {"a header over two lines", "[a\n]\n", "a key held a character that is not allowed in one (at byte 2)"},
        {"a quoted key of three quotes", "\"\"\"a\"\"\" = 1\n",
         "a key held a character that is not allowed in one (at byte 2)"},
        {"half an array header", "[[a]\n", "a table header did not close (at byte 4)"},
        {"an array header with a gap", "[[a] ]\n", "a table header did not close (at byte 4)"},
        {"an array header ends the file", "[[a]", "a table header did not close (at byte 4)"},
        {"words behind a header", "[a] b\n", "there are bytes after the end of a value (at byte 4)"},
        {"a bare carriage return behind a header", "[a]\rb\n", "there are bytes after the end of a value (at byte 4)"},
        {"two carriage returns", "a = 1\r\r\n", "there are bytes after the end of a value (at byte 6)"},
        {"two values", "a = 1 2\n", "there are bytes after the end of a value (at byte 4)"},
        {"a value behind an array", "a = [1] 2\n", "there are bytes after the end of a value (at byte 4)"},
        {"a bare carriage return in a value", "a = 1\r2\n", "there are bytes after the end of a value (at byte 4)"},
        {"a date and no time", "a = 1979-05-27 7:32\n", "there are bytes after the end of a value (at byte 4)"},
        {"a date, its time and more", "a = 1979-05-27 07:32 1\n",
         "there are bytes after the end of a value (at byte 4)"},
        {"a date, two blanks", "a = 1979-05-27  07:32\n", "there are bytes after the end of a value (at byte 4)"},
        {"no value", "a = \n", "a value was expected (at byte 4)"},
        {"a comment for a value", "a =# 1\n", "a value was expected (at byte 3)"},
        {"the file ends before the value", "a =", "a value was expected (at byte 3)"},
        {"a bracket too many", "a = [1]]\n", "a value closed a bracket it never opened (at byte 4)"},
        {"a bracket first", "a = }\n", "a value closed a bracket it never opened (at byte 4)"},
        {"an open array", "a = [1", "a value was left open at the end of the file (at byte 4)"},
        {"an array that a comment holds open", "a = [1 # ]",
         "a value was left open at the end of the file (at byte 4)"},
        {"an open table", "a = {b = 1\n[c]\n", "a value was left open at the end of the file (at byte 4)"},
        {"an open multi-line string", "a = \"\"\"x\\\"\"\"", "a multi-line string never closed (at byte 4)"},
        {"an open multi-line string in an array", "a = ['''x''", "a multi-line string never closed (at byte 5)"},
        {"a string and a line", "a = \"x\n\"\n", "a string ran past the end of its line (at byte 4)"},
        {"a literal string and a line", "a = 'x\n'\n", "a string ran past the end of its line (at byte 4)"},
        {"an open string", "a = \"x", "a string never closed (at byte 4)"},
        {"an open literal string", "a = 'x", "a string never closed (at byte 4)"},
        {"an open key", "'a = 1", "a string never closed (at byte 0)"},
        {"a backslash ends the file", "a = \"x\\", "the file ended inside an escape (at byte 4)"},
        {"an escape of another language", "a = \"\\x41\"\n", "a string holds an escape that is not TOML's (at byte 4)"},
        {"a line continued", "a = \"\\\n\"\n", "a string holds an escape that is not TOML's (at byte 4)"},
        {"three hexadecimal digits", "a = \"\\u00e\"\n", "a string holds an escape that is not TOML's (at byte 4)"},
        {"digits cut by the file's end", "a = \"\\U0001F6", "a string holds an escape that is not TOML's (at byte 4)"},
        {"a surrogate", "a = \"\\uD800\"\n", "a string holds an escape that is not a character (at byte 4)"},
        {"the last surrogate", "a = \"\\uDfff\"\n", "a string holds an escape that is not a character (at byte 4)"},
        {"past the last character", "a = \"\\U00110000\"\n",
         "a string holds an escape that is not a character (at byte 4)"},
        {"eight high digits", "a = \"\\UFFFFFFFF\"\n", "a string holds an escape that is not a character (at byte 4)"},
        {"bytes that are no text", "a = [1, \"\xFF\"]\n", "a string holds bytes that are not UTF-8 (at byte 8)"},
        {"a character cut by an escape", "a = \"\xC3\\n\"\n", "a string holds bytes that are not UTF-8 (at byte 4)"},
        {"bytes that are no text, literally", "a = '\xC3'\n", "a string holds bytes that are not UTF-8 (at byte 4)"},
    };
    for (const Case& row : table) EXPECT_EQ(outline(row.in), row.want) << row.name;
}

TEST(TOMLText, OneNameHasManySpellings) {
    for (const std::string_view header : {"[a.b]", "[ a . b ]", "[\"a\".'b']", "[\t\"\\u0061\" .b]"}) {
        const auto document = TOMLText::scan(asBytes(header));
        ASSERT_TRUE(document) << header;
        EXPECT_NE(document->table({"a", "b"}), nullptr) << header;
    }
}

TEST(TOMLText, ATableIsFoundByItsWholeNameAndNotAsAnArray) {
    const auto document = TOMLText::scan(asBytes("[[a.b]]\nx=1\n[a]\nx=2\n[a.b]\nx=3\n[a.b]\nx=4\n"));
    ASSERT_TRUE(document);
    ASSERT_NE(document->table({"a", "b"}), nullptr);
    EXPECT_EQ(document->table({"a", "b"}), &document->tables[3]);
    EXPECT_EQ(document->entries(document->tables[3]).front().raw, "3");
    EXPECT_EQ(document->table({"a", "c"}), nullptr);
    EXPECT_EQ(document->table({}), &document->tables[0]);
    EXPECT_TRUE(document->entries(document->tables[0]).empty());
    EXPECT_EQ(document->tableOfEntry, (std::vector<std::size_t>{1, 2, 3, 4}));
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

TEST(TOMLText, WhatIsCutShortIsRefusedOrIsADocument) {
    constexpr std::string_view file =
        "\xEF\xBB\xBF# settings\r\nmodel = \"o3\" # best\n[a.\"b\\u00e9\"]\nlist = [1, # one\n \"two\",\n]\n"
        "text = \"\"\"x\n\"\" \\\" y\"\"\"\nday = 1979-05-27 07:32:00Z\n[[c]]\nd.e = { f = 'g' }";
    ASSERT_TRUE(TOMLText::scan(asBytes(file))) << outline(file);
    for (std::size_t length = 0; length < file.size(); ++length) {
        const auto document = TOMLText::scan(asBytes(file.substr(0, length)));
        if (document) {
            EXPECT_EQ(document->tables.back().bodyEnd, static_cast<std::int64_t>(length));
        } else {
            EXPECT_LE(document.error().offset, static_cast<std::int64_t>(length));
            EXPECT_FALSE(document.error().reason.empty());
        }
    }
}

TEST(TOMLText, WritesNamesAndTexts) {
    EXPECT_EQ(TOMLText::joined(TOMLName{"mcp_servers", "larkmoor"}), "mcp_servers.larkmoor");
    EXPECT_EQ(TOMLText::joined(TOMLName{"a-Z_9", "", "b c", "é"}), R"(a-Z_9.""."b c"."é")");
    EXPECT_EQ(TOMLText::quote("a\"\\\t\n\r\x01\x1f\x7fé"), R"("a\"\\\t\n\r\u0001\u001F\u007Fé")");
    for (char32_t scalar = 0; scalar < 0x3000; ++scalar) {
        std::string text = "x";
        UTF8::append(text, scalar);
        const std::string quoted = TOMLText::quote(text);
        const auto again = TOMLText::parseBasicString(asBytes(quoted), 0);
        ASSERT_TRUE(again) << quoted;
        EXPECT_EQ(again->text, text);
    }
}

TEST(TOMLText, OnePairDecidesHowTheLinesEnd) {
    EXPECT_EQ(TOMLText::lineEnding(asBytes("a\nb\r\n")), "\r\n");
    EXPECT_EQ(TOMLText::lineEnding(asBytes("a\rb\n")), "\n");
    EXPECT_EQ(TOMLText::lineEnding({}), "\n");
}

TEST(TOMLText, ABlankPartsADateFromItsTime) {
    struct Row {
        std::string_view text;
        std::int64_t start, end, space;
        bool parts;
    };
    const Row table[] = {
        {"1979-05-27 07:32:00", 0, 10, 10, true}, {"x1979-05-27 07:32", 1, 11, 11, true},
        {"1979-05-27 07:3", 0, 10, 10, false},    {"1979-05-27 0732", 0, 10, 10, false},
        {"1979-05-2x 07:32", 0, 10, 10, false},   {"1979/05/27 07:32", 0, 10, 10, false},
        {"11979-05-27 07:32", 0, 11, 11, false},  {"1979-05-27x 07:32", 0, 10, 11, false},
        {"1979-05-27\t07:32", 0, 10, 10, false},
    };
    for (const Row& row : table) {
        EXPECT_EQ(TOMLText::isDateTimeSeparator(asBytes(row.text), row.start, row.end, row.space), row.parts)
            << row.text;
    }
}

TEST(TOMLText, SaysWhichShapesItCannotEdit) {
    const TOMLName server{"mcp_servers", "larkmoor"};
    const TOMLName slot{"hooks", "state", "a:b"};
    struct Row {
        std::string_view name, in;
        std::vector<TOMLName> owning;
        std::optional<std::string_view> want;
    };
    const Row table[] = {
        {"an empty file", "", {server, slot}, std::nullopt},
        {"our table and others",
         "a=1\n[mcp_servers.other]\nx=1\nx=2\n[mcp_servers.larkmoor]\ncommand=''\n",
         {server},
         std::nullopt},
        {"entries below it", "[mcp_servers.larkmoor.env]\nA='1'\n", {server}, std::nullopt},
        {"another's array", "[[x]]\n[[x]]\n", {server}, std::nullopt},
        {"an array",
         "[[x]]\n",
         {{"x"}},
         "the table [[x]] is an array of tables, which is not a shape this build can edit"},
        {"an array from above",
         "[[x]]\n",
         {{"x", "y"}},
         "the table [[x]] is an array of tables, which is not a shape this build can edit"},
        {"an array below",
         "[[mcp_servers.larkmoor.'a b']]\n",
         {server},
         "the table [[mcp_servers.larkmoor.\"a b\"]] is an array of tables, which is not a shape this build can edit"},
        {"twice",
         "[mcp_servers.larkmoor]\n[a]\n[mcp_servers.\"larkmoor\"]\n",
         {slot, server},
         "the table [mcp_servers.larkmoor] is declared twice in this file"},
        {"its parent twice",
         "[mcp_servers]\n[mcp_servers]\n",
         {server},
         "the table [mcp_servers] is declared twice in this file"},
        {"a dotted key",
         "mcp_servers.larkmoor.command = ''\n",
         {server},
         "the key mcp_servers.larkmoor.command states the Larkmoor block outside a table of its own, which is not a "
         "shape this build can edit"},
        {"an inline table",
         "[mcp_servers]\nlarkmoor = {}\n",
         {server},
         "the key mcp_servers.larkmoor states the Larkmoor block outside a table of its own, which is not a shape this "
         "build can edit"},
        {"an inline table from above",
         "mcp_servers = {}\n",
         {slot, server},
         "the key mcp_servers states the Larkmoor block outside a table of its own, which is not a shape this build "
         "can "
         "edit"},
        {"a table beside it", "[mcp_servers]\nother = {}\n", {server}, std::nullopt},
        {"a key twice",
         "[hooks.state.'a:b']\nx.'y z' = 1\nx = 2\nx.\"y z\" = 3\n",
         {server, slot},
         "the key x.\"y z\" appears twice in [hooks.state.\"a:b\"] (at byte 38)"},
        {"tables come before keys",
         "mcp_servers = {}\n[[mcp_servers.larkmoor]]\n",
         {server},
         "the table [[mcp_servers.larkmoor]] is an array of tables, which is not a shape this build can edit"},
    };
    for (const Row& row : table) {
        const auto document = TOMLText::scan(asBytes(row.in));
        ASSERT_TRUE(document) << row.name;
        EXPECT_EQ(TOMLText::unreadableReason(*document, row.owning), row.want) << row.name;
    }
}

}  // namespace
}  // namespace larkmoor

// What a scan of a TOML file refuses, and what is read of what it found. Where that lies is asked of generated
// documents.
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

namespace larkmoor {
namespace {

using namespace std::string_view_literals;

/// Nothing for a file that reads.
std::string refusal(std::string_view file) {
    const auto document = TOMLText::scan(asBytes(file));
    return document ? "" : document.error().description();
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
            EXPECT_EQ(refusal(in), fmt::format("{} (at byte {})", row.want, place)) << in;
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
        {"[mcp_servers]\nother = {}\n", std::nullopt},
        {"[[hooks.state.'a:b']]\n", "the table [[hooks.state.\"a:b\"]]" + array},
        {"[[mcp_servers.larkmoor.'a b']]\n", "the table [[mcp_servers.larkmoor.\"a b\"]]" + array},
        {"[mcp_servers.larkmoor]\n[a]\n[mcp_servers.\"larkmoor\"]\n",
         "the table [mcp_servers.larkmoor] is declared twice in this file"},
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

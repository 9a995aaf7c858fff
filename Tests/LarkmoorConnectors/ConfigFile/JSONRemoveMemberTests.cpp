// Whole files before and after a member is removed: one comma goes with it, and no comment.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/JSONShown.h"

namespace larkmoor {
namespace {

using testing::shown;

constexpr JSONDialect strict = JSONDialect::strict;
constexpr JSONDialect withComments = JSONDialect::withComments;

struct RemoveCase {
    std::string_view name, before;
    JSONPath path;
    std::string_view key, after;
    JSONDialect dialect = strict;
};

void expectRemoved(std::span<const RemoveCase> table) {
    for (const RemoveCase& row : table) {
        EXPECT_EQ(shown(JSONEdit::removeMember(asBytes(row.before), row.path, row.key, row.dialect)), row.after)
            << row.name;
    }
}

TEST(RemoveMember, TakesOneCommaWithIt) {
    const RemoveCase table[] = {
        {"the middle", "{\n  \"a\": 1,\n  \"b\": 2,\n  \"c\": 3\n}\n", {}, "b", "{\n  \"a\": 1,\n  \"c\": 3\n}\n"},
        {"the last", "{\n  \"a\": 1,\n  \"b\": 2\n}\n", {}, "b", "{\n  \"a\": 1\n}\n"},
        {"the first", "{\n  \"a\": 1,\n  \"b\": 2\n}\n", {}, "a", "{\n  \"b\": 2\n}\n"},
        {"the first on one line", "{ \"a\": 1 , \"b\": 2 }", {}, "a", "{ \"b\": 2 }"},
        {"the middle on one line", "{\"a\":1 , \"b\":2 , \"c\":3}", {}, "b", "{\"a\":1 , \"c\":3}"},
        {"commas before the names",
         "{\n    \"a\": 1\n  , \"b\": 2\n  , \"c\": 3\n}",
         {},
         "c",
         "{\n    \"a\": 1\n  , \"b\": 2\n}"},
        {"a container", "{\"a\":1,\"b\":{\"a\":[1,2]}}", {}, "b", "{\"a\":1}"},
        {"the first of two of its name", "{\"a\":1,\"b\":2,\"a\":3}", {}, "a", "{\"b\":2,\"a\":3}"},
        {"CRLF", "{\r\n\t\"a\": 1,\r\n\t\"b\": 2\r\n}", {}, "b", "{\r\n\t\"a\": 1\r\n}"},
        {"in an element", "[{\"a\":1,\"b\":2},{\"a\":1}]", {0}, "a", "[{\"b\":2},{\"a\":1}]"},
        {"blank lines", "{\n  \"a\": 1,\n\n  \"b\": 2,\n\n  \"c\": 3\n}", {}, "b", "{\n  \"a\": 1,\n\n  \"c\": 3\n}"},
    };
    expectRemoved(table);
}

TEST(RemoveMember, ClosesAnObjectThatItEmpties) {
    const RemoveCase table[] = {
        {"on one line", "{ \"a\": 1 }", {}, "a", "{}"},
        {"spread", "{\n  \"a\": {\n    \"b\": 1\n  }\n}\n", {}, "a", "{}\n"},
        {"deeper", "{\n  \"a\": {\n    \"b\": 1\n  }\n}\n", {"a"}, "b", "{\n  \"a\": {}\n}\n"},
        {"comments elsewhere", "// top\n{ \"a\": 1 } // end", {}, "a", "// top\n{} // end", withComments},
    };
    expectRemoved(table);
}

TEST(RemoveMember, LeavesEveryComment) {
    const RemoveCase table[] = {
        {"a note on the one before",
         "{\n  \"a\": 1, // note on a\n  \"b\": 2\n}",
         {},
         "b",
         "{\n  \"a\": 1 // note on a\n}"},
        {"and on itself",
         "{\n  \"a\": 1, // on a\n  \"b\": 2 // on b\n}",
         {},
         "b",
         "{\n  \"a\": 1 // on a\n // on b\n}"},
        {"above it", "{\n  \"a\": 1,\n  // about b\n  \"b\": 2\n}", {}, "b", "{\n  \"a\": 1\n  // about b\n}"},
        {"the brace on its line", "{\n  \"a\": 1, // note\n  \"b\": 2}", {}, "b", "{\n  \"a\": 1 // note\n}"},
        {"a blank and the brace", "{\n  \"a\": 1, // note\n  \"b\": 2 }", {}, "b", "{\n  \"a\": 1 // note\n }"},
        {"a comma behind it",
         "{\n  \"a\": 1, // note\n  \"b\": 2, \"c\": 3\n}",
         {},
         "b",
         "{\n  \"a\": 1 // note\n, \"c\": 3\n}"},
        {"inside it",
         "{\n  \"a\": 1,\n  \"b\": [ // first\n    1, /* second */ 2\n  ]\n}",
         {},
         "b",
         "{\n  \"a\": 1 // first\n /* second */\n}"},
        {"two in a row",
         "{\n  \"a\": 1,\n  // one\n  // two\n  \"b\": 2\n}",
         {},
         "b",
         "{\n  \"a\": 1\n  // one\n  // two\n}"},
        {"blanks at the end of one",
         "{\n  \"a\": 1,\n  // one  \n  // two\n  \"b\": 2\n}",
         {},
         "b",
         "{\n  \"a\": 1\n  // one  \n  // two\n}"},
        {"a block", "{\"a\":1 /* x */ , /* y */ \"b\" /* z */ : 2}", {}, "b", "{\"a\":1 /* x */ /* y */ /* z */}"},
        {"of the first", "{\n  \"a\": 1, // note\n  \"b\": 2\n}", {}, "a", "{\n   // note\n\"b\": 2\n}"},
        {"of the first, a block", "{ \"a\": /* one */ 1, \"b\": 2 }", {}, "a", "{  /* one */\"b\": 2 }"},
        {"above the first", "{\n  // about a\n  \"a\": 1,\n  \"b\": 2\n}", {}, "a", "{\n  // about a\n  \"b\": 2\n}"},
        {"CRLF",
         "{\r\n  \"a\": 1, // on a\r\n  \"b\": 2, // on b\r\n  \"c\": 3\r\n}",
         {},
         "b",
         "{\r\n  \"a\": 1 // on a\r\n, // on b\r\n  \"c\": 3\r\n}"},
        {"CRLF at the end", "{\r\n  \"a\": 1, // on a\r\n  \"b\": 2\r\n}", {}, "b", "{\r\n  \"a\": 1 // on a\r\n}"},
        {"a carriage return ends no line comment",
         "{\n  \"a\": 1, // on a\n  \"b\": 2\r}",
         {},
         "b",
         "{\n  \"a\": 1 // on a\n\r}"},
        {"nor does one before another comment",
         "{\n  \"a\": 1, // on a\n  \"b\": 2\r/* b */\n}",
         {},
         "b",
         "{\n  \"a\": 1 // on a\n\r/* b */\n}"},
    };
    RemoveCase rows[std::size(table)] = {};
    std::ranges::transform(table, rows, [](RemoveCase row) {
        row.dialect = withComments;
        return row;
    });
    expectRemoved(rows);
}

TEST(RemoveMember, KeepsTheBracesOfTheOnlyMemberApartForAComment) {
    const RemoveCase table[] = {
        {"on one line, before", "{ /* c */ \"a\":1}", {}, "a", "{ /* c */ }", withComments},
        {"on one line, behind", "{ \"a\": 1 /* c */ }", {}, "a", "{  /* c */ }", withComments},
        {"on one line, inside", "{\"a\": /* c */ 1}", {}, "a", "{ /* c */}", withComments},
        {"on lines, before", "{\n  // c\n  \"a\": 1\n}", {}, "a", "{\n  // c\n}", withComments},
        {"on lines, behind", "{\n  \"a\": 1 // c\n}", {}, "a", "{ // c\n}", withComments},
        {"on lines, below", "{\n  \"a\": 1\n  // c\n}", {}, "a", "{\n  // c\n}", withComments},
        {"on lines, inside", "{\n  \"a\": { // c\n  }\n}", {}, "a", "{ // c\n}", withComments},
        {"CRLF", "{\r\n  // c\r\n  \"a\": 1\r\n}", {}, "a", "{\r\n  // c\r\n}", withComments},
        {"a line comment and the brace on its member's line",
         "{ // c\n  \"a\": 1}",
         {},
         "a",
         "{ // c\n}",
         withComments},
        {"and another comment in the member",
         "{ // c\n  \"a\": /* d */ 1}",
         {},
         "a",
         "{ // c\n /* d */}",
         withComments},
        {"blanks at a comment's end are its own", "{ // c  \n  \"a\": 1\n}", {}, "a", "{ // c  \n}", withComments},
        {"a block and the brace", "{ /* c */\n  \"a\": 1}", {}, "a", "{ /* c */}", withComments},
    };
    expectRemoved(table);
}

}  // namespace
}  // namespace larkmoor

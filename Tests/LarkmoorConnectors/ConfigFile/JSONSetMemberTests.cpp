// Whole files before and after a member is set: what changes is one range, and the rest stays to the byte.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/JSONShown.h"

namespace larkmoor {
namespace {

using testing::shown;

constexpr JSONDialect strict = JSONDialect::strict;
constexpr JSONDialect withComments = JSONDialect::withComments;

/// What the program itself would set, a container inside a container.
JSONLiteral entry() {
    return JSONLiteral::object({{"type", "command"}, {"args", JSONLiteral::array({"-q", 10, true})}});
}

struct SetCase {
    std::string_view name, before;
    JSONPath path;
    std::string_view key;
    JSONLiteral to;
    std::string_view after;
    JSONDialect dialect = strict;
};

void expectSet(std::span<const SetCase> table) {
    for (const SetCase& row : table) {
        EXPECT_EQ(shown(JSONEdit::setMember(asBytes(row.before), row.path, row.key, row.to, row.dialect)), row.after)
            << row.name;
    }
}

TEST(SetMember, ReplacesTheValuesBytesAlone) {
    const SetCase table[] = {
        {"blanks around the colon", "{\"a\"   :   1}", {}, "a", 2, "{\"a\"   :   2}"},
        {"each kind", "{\"a\":null}", {}, "a", "x", "{\"a\":\"x\"}"},
        {"a comma behind it", "{ \"a\" : [ 1 ] , \"b\" : 2 }", {}, "a", false, "{ \"a\" : false , \"b\" : 2 }"},
        {"one line in a spread object",
         "{\n    \"a\": {\"x\":1},\n    \"b\": 2\n}\n",
         {},
         "a",
         entry(),
         "{\n    \"a\": {\n        \"type\": \"command\",\n        \"args\": [\n            \"-q\",\n            10,\n "
         "           true\n        ]\n    },\n    \"b\": 2\n}\n"},
        {"a spread value in an object on one line",
         "[\n  {\"a\": 1, \"b\": 2}\n]",
         {0},
         "b",
         entry(),
         "[\n  {\"a\": 1, \"b\": {\"type\":\"command\",\"args\":[\"-q\",10,true]}}\n]"},
        {"the old value spreads its object", "{\"a\": [\n1]}", {}, "a", JSONLiteral::array({1}), "{\"a\": [\n  1\n]}"},
        {"empty containers stay closed", "{\n\t\"a\": 1\n}", {}, "a", JSONLiteral::object({}), "{\n\t\"a\": {}\n}"},
        {"the first of two", "{\"a\":1,\"a\":2}", {}, "a", 3, "{\"a\":3,\"a\":2}"},
        {"found by its decoded name", "{\"\\u0061\\\"\\n\":1}", {}, "a\"\n", 2, "{\"\\u0061\\\"\\n\":2}"},
        {"in an element", "{\"h\":[{\"a\":1},{\"a\":1}]}", {"h", 1}, "a", 2, "{\"h\":[{\"a\":1},{\"a\":2}]}"},
        {"comments on both sides",
         "{ /* l */ \"a\" /* c */ : /* v */ 1 /* r */ }",
         {},
         "a",
         2,
         "{ /* l */ \"a\" /* c */ : /* v */ 2 /* r */ }",
         withComments},
        {"behind a line comment",
         "{\n  \"a\": // why\n    1 // because\n}",
         {},
         "a",
         2,
         "{\n  \"a\": // why\n    2 // because\n}",
         withComments},
        {"CRLF",
         "{\r\n  \"a\": 1\r\n}\r\n",
         {},
         "a",
         JSONLiteral::array({1}),
         "{\r\n  \"a\": [\r\n    1\r\n  ]\r\n}\r\n"},
        {"tabs",
         "{\n\t\"o\": {\n\t\t\"a\": 1\n\t}\n}",
         {"o"},
         "a",
         JSONLiteral::array({1}),
         "{\n\t\"o\": {\n\t\t\"a\": [\n\t\t\t1\n\t\t]\n\t}\n}"},
        {"nothing to change", "{\"a\": \"x\"}", {}, "a", "x", "{\"a\": \"x\"}"},
    };
    expectSet(table);
}

TEST(SetMember, AddsBehindTheLastAsTheLastStands) {
    const SetCase table[] = {
        {"one line", "{\"a\":1}", {}, "b", 2, "{\"a\":1,\"b\":2}"},
        {"one line with blanks",
         "{ \"a\": 1 }",
         {},
         "b",
         entry(),
         "{ \"a\": 1, \"b\":{\"type\":\"command\",\"args\":[\"-q\",10,true]} }"},
        {"two spaces",
         "{\n  \"a\": 1\n}\n",
         {},
         "b",
         entry(),
         "{\n  \"a\": 1,\n  \"b\": {\n    \"type\": \"command\",\n    \"args\": [\n      \"-q\",\n      10,\n      "
         "true\n    ]\n  }\n}\n"},
        {"four spaces",
         "{\n    \"a\": 1\n}",
         {},
         "b",
         JSONLiteral::object({{"x", 1}}),
         "{\n    \"a\": 1,\n    \"b\": {\n        \"x\": 1\n    }\n}"},
        {"tabs",
         "{\n\t\"a\": 1\n}",
         {},
         "b",
         JSONLiteral::object({{"x", 1}}),
         "{\n\t\"a\": 1,\n\t\"b\": {\n\t\t\"x\": 1\n\t}\n}"},
        {"no final newline and no indent",
         "{\n\"a\": 1\n}",
         {},
         "b",
         JSONLiteral::object({{"x", 1}}),
         "{\n\"a\": 1,\n\"b\": {\n  \"x\": 1\n}\n}"},
        {"the first on the brace's line",
         "{ \"a\": 1,\n  \"b\": 2\n}",
         {},
         "c",
         JSONLiteral::object({{"x", 1}}),
         "{ \"a\": 1,\n  \"b\": 2,\n  \"c\": {\n    \"x\": 1\n  }\n}"},
        {"the first on the brace's line, deeper than two",
         "{ \"a\": 1,\n      \"b\": 2}",
         {},
         "c",
         JSONLiteral::object({{"x", 1}}),
         "{ \"a\": 1,\n      \"b\": 2,\n      \"c\": {\n        \"x\": 1\n      }}"},
        {"the last on one line with another",
         "{\n  \"a\": 1, \"b\": 2\n}",
         {},
         "c",
         JSONLiteral::object({{"x", 1}}),
         "{\n  \"a\": 1, \"b\": 2, \"c\":{\"x\":1}\n}"},
        {"a blank line before the last",
         "{\n  \"a\": 1,\n\n  \"b\": 2\n}",
         {},
         "c",
         3,
         "{\n  \"a\": 1,\n\n  \"b\": 2,\n\n  \"c\": 3\n}"},
        {"an odd indent",
         "{\n   \"a\": 1,\n \t \"b\": 2\n}",
         {},
         "c",
         JSONLiteral::array({1}),
         "{\n   \"a\": 1,\n \t \"b\": 2,\n \t \"c\": [\n \t    1\n \t ]\n}"},
        {"CRLF",
         "{\r\n  \"a\": 1\r\n}\r\n",
         {},
         "b",
         JSONLiteral::array({1}),
         "{\r\n  \"a\": 1,\r\n  \"b\": [\r\n    1\r\n  ]\r\n}\r\n"},
        {"one pair decides, the last line's end is copied",
         "{\r\n  \"a\": 1,\n  \"b\": 2\n}",
         {},
         "c",
         JSONLiteral::array({1}),
         "{\r\n  \"a\": 1,\n  \"b\": 2,\n  \"c\": [\r\n    1\r\n  ]\n}"},
        {"in an element, at the file's unit",
         "[\n    {\n      \"a\": 1\n    }\n]",
         {0},
         "b",
         JSONLiteral::object({{"x", 1}}),
         "[\n    {\n      \"a\": 1,\n      \"b\": {\n          \"x\": 1\n      }\n    }\n]"},
        {"a name to be escaped", "{\"a\":1}", {}, "q\"\\\x01", 2, "{\"a\":1,\"q\\\"\\\\\\u0001\":2}"},
        {"a note on the last",
         "{\n  \"a\": 1 // note\n}",
         {},
         "b",
         2,
         "{\n  \"a\": 1,\n  \"b\": 2 // note\n}",
         withComments},
        {"a comment above the last",
         "{\n  // one\n  \"a\": 1\n  // end\n}",
         {},
         "b",
         2,
         "{\n  // one\n  \"a\": 1,\n  \"b\": 2\n  // end\n}",
         withComments},
        {"a comment before the last",
         "{\n  /* one */ \"a\": 1 /* end */\n}",
         {},
         "b",
         2,
         "{\n  /* one */ \"a\": 1, \"b\":2 /* end */\n}",
         withComments},
        {"a note on each side",
         "{ // o\n  \"a\": 1 /* x */, // y\n  \"b\": 2 // z\n}",
         {},
         "c",
         3,
         "{ // o\n  \"a\": 1 /* x */, // y\n  \"b\": 2,\n  \"c\": 3 // z\n}",
         withComments},
    };
    expectSet(table);
}

TEST(SetMember, FillsAnEmptyObject) {
    const JSONLiteral one = JSONLiteral::object({{"x", 1}});
    const SetCase table[] = {
        {"a file on one line", "{}", {}, "a", 1, "{\"a\":1}"},
        {"its blanks go", "{ \t }", {}, "a", one, "{\"a\":{\"x\":1}}"},
        {"a line feed at the end", "{}\n", {}, "a", one, "{\n  \"a\": {\n    \"x\": 1\n  }\n}\n"},
        {"a line feed inside", "{\n}", {}, "a", 1, "{\n  \"a\": 1\n}"},
        {"blank lines inside", "{\n\n \n}", {}, "a", 1, "{\n  \"a\": 1\n}"},
        {"a line feed before it", "\n  {}", {}, "a", 1, "\n  {\n    \"a\": 1\n  }"},
        {"a carriage return alone", "{\r}", {}, "a", 1, "{\"a\":1}"},
        {"CRLF elsewhere", "{}\r\n", {}, "a", 1, "{\r\n  \"a\": 1\r\n}\r\n"},
        {"deeper",
         "{\n    \"o\": {},\n    \"p\": 1\n}",
         {"o"},
         "a",
         one,
         "{\n    \"o\": {\n        \"a\": {\n            \"x\": 1\n        }\n    },\n    \"p\": 1\n}"},
        {"in an element of one line",
         "{\n\t\"o\": [ {}, {} ]\n}",
         {"o", 1},
         "a",
         1,
         "{\n\t\"o\": [ {}, {\n\t\t\"a\": 1\n\t} ]\n}"},
        {"comments elsewhere", "// top\n{} // end", {}, "a", 1, "// top\n{\n  \"a\": 1\n} // end", withComments},
    };
    expectSet(table);
}

TEST(SetMember, KeepsTheCommentsOfAnObjectWithoutMembers) {
    const JSONLiteral one = JSONLiteral::object({{"x", 1}});
    const SetCase table[] = {
        {"on one line", "{ /* c */ }", {}, "a", one, "{ /* c */ \"a\":{\"x\":1}}", withComments},
        {"no blanks", "{/* c */}", {}, "a", 1, "{/* c */\"a\":1}", withComments},
        {"on one line of several",
         "[\n  {/* c */ }\n]",
         {0},
         "a",
         one,
         "[\n  {/* c */ \"a\":{\"x\":1}}\n]",
         withComments},
        {"a line comment", "{ // c\n}", {}, "a", one, "{ // c\n  \"a\": {\n    \"x\": 1\n  }\n}", withComments},
        {"CRLF", "{\r\n  // c\r\n}\r\n", {}, "a", 1, "{\r\n  // c\r\n  \"a\": 1\r\n}\r\n", withComments},
        {"two of them",
         "{\n  // one\n\n  /* two */\n\n}",
         {},
         "a",
         1,
         "{\n  // one\n\n  /* two */\n  \"a\": 1\n}",
         withComments},
        {"deeper",
         "{\n\t\"o\": {\n\t\t// c\n\t}\n}",
         {"o"},
         "a",
         1,
         "{\n\t\"o\": {\n\t\t// c\n\t\t\"a\": 1\n\t}\n}",
         withComments},
        {"the brace behind a comment", "{\n  /* c */}", {}, "a", 1, "{\n  /* c */\n  \"a\": 1\n}", withComments},
        {"blanks at a comment's end are its own", "{ // c  \n}", {}, "a", 1, "{ // c  \n  \"a\": 1\n}", withComments},
        {"a line feed in a comment", "{/*\n*/}", {}, "a", 1, "{/*\n*/\n  \"a\": 1\n}", withComments},
    };
    expectSet(table);
}

}  // namespace
}  // namespace larkmoor

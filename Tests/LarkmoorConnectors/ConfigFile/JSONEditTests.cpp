// Whole files before and after an element comes or goes, and the words in which an edit refuses.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/JSONShown.h"

namespace larkmoor {
namespace {

using testing::shown;

constexpr JSONDialect strict = JSONDialect::strict;
constexpr JSONDialect withComments = JSONDialect::withComments;

TEST(AppendElement, FollowsTheMembersRules) {
    struct Case {
        std::string_view name, before;
        JSONPath path;
        JSONLiteral literal;
        std::string_view after;
    };
    const Case table[] = {
        {"empty, one line", "[ ]", {}, 1, "[1]"},
        {"empty, in a file of lines",
         "{\n  \"a\": []\n}",
         {"a"},
         JSONLiteral::array({1}),
         "{\n  \"a\": [\n    [\n      1\n    ]\n  ]\n}"},
        {"one line", "[1, 2]", {}, JSONLiteral::object({{"x", 1}}), "[1, 2, {\"x\":1}]"},
        {"no blanks", "[1,2]", {}, 3, "[1,2,3]"},
        {"lines",
         "[\n    1,\n    2\n]\n",
         {},
         JSONLiteral::object({{"x", 1}}),
         "[\n    1,\n    2,\n    {\n        \"x\": 1\n    }\n]\n"},
        {"CRLF and tabs",
         "{\r\n\t\"a\": [\r\n\t\t1\r\n\t]\r\n}",
         {"a"},
         2,
         "{\r\n\t\"a\": [\r\n\t\t1,\r\n\t\t2\r\n\t]\r\n}"},
        {"the first on the bracket's line", "[1,\n 2\n]", {}, JSONLiteral::array({3}), "[1,\n 2,\n [\n   3\n ]\n]"},
        {"in an array in an array", "[[],[[]]]", {1, 0}, "x", "[[],[[\"x\"]]]"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(shown(JSONEdit::appendElement(asBytes(row.before), row.path, row.literal)), row.after) << row.name;
    }
}

TEST(InsertElement, StandsBehindTheOneNamedAsThatStands) {
    EXPECT_EQ(shown(JSONEdit::insertElement(asBytes("[\n  1,\n\n  2, 3\n]"), {}, 0, 9)), "[\n  1,\n  9,\n\n  2, 3\n]");
    EXPECT_EQ(shown(JSONEdit::insertElement(asBytes("[\n  1,\n\n  2, 3\n]"), {}, 1, 9)),
              "[\n  1,\n\n  2,\n\n  9, 3\n]");
    EXPECT_EQ(shown(JSONEdit::insertElement(asBytes("[\n  1,\n\n  2, 3\n]"), {}, 2, JSONLiteral::array({9}))),
              "[\n  1,\n\n  2, 3, [9]\n]");
    EXPECT_EQ(shown(JSONEdit::insertElement(asBytes("[]"), {}, 0, 9)), "refused: the top-level value has no element 0");
}

TEST(ReplaceElement, SpreadsAsItsArrayDoes) {
    const JSONLiteral one = JSONLiteral::object({{"x", 1}});
    EXPECT_EQ(shown(JSONEdit::replaceElement(asBytes("[1, 2, 3]"), {}, 1, one)), "[1, {\"x\":1}, 3]");
    EXPECT_EQ(shown(JSONEdit::replaceElement(asBytes("[\n\t1,\n\t2\n]"), {}, 1, one)),
              "[\n\t1,\n\t{\n\t\t\"x\": 1\n\t}\n]");
    EXPECT_EQ(shown(JSONEdit::replaceElement(asBytes("{\"a\":[]}"), {"a"}, 0, one)), "refused: a has no element 0");
}

TEST(RemoveElement, TakesOneCommaWithIt) {
    struct Case {
        std::string_view name, before;
        JSONPath path;
        std::int64_t index;
        std::string_view after;
    };
    const Case table[] = {
        {"the middle", "[1 , 2 , 3]", {}, 1, "[1 , 3]"},
        {"the last", "[\n  1,\n  2\n]", {}, 1, "[\n  1\n]"},
        {"the first", "[\n  {\"a\":1},\n  2\n]", {}, 0, "[\n  2\n]"},
        {"the only one", "{\r\n  \"a\": [\r\n    1\r\n  ]\r\n}", {"a"}, 0, "{\r\n  \"a\": []\r\n}"},
        {"in a group",
         "{\"h\":{\"e\":[{\"hooks\":[1,2]}]}}",
         {"h", "e", 0, "hooks"},
         1,
         "{\"h\":{\"e\":[{\"hooks\":[1]}]}}"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(shown(JSONEdit::removeElement(asBytes(row.before), row.path, row.index)), row.after) << row.name;
    }
}

TEST(JSONEdit, RefusesInWords) {
    const Bytes document = copyBytes(R"({"hooks":{"PreToolUse":[{"a":1}],"n":1}})");
    const auto set = [&](const JSONPath& path) { return shown(JSONEdit::setMember(document, path, "k", 1, strict)); };
    const auto remove = [&](const JSONPath& path, std::string_view key) {
        return shown(JSONEdit::removeMember(document, path, key, strict));
    };
    const auto append = [&](const JSONPath& path) { return shown(JSONEdit::appendElement(document, path, 1)); };
    const auto cut = [&](const JSONPath& path, std::int64_t index) {
        return shown(JSONEdit::removeElement(document, path, index));
    };

    EXPECT_EQ(set({"hooks", "PreToolUse"}), "refused: hooks.PreToolUse is not an object");
    EXPECT_EQ(set({"hooks", "PreToolUse", 1}), "refused: hooks.PreToolUse.[1] is not an object");
    EXPECT_EQ(set({"hooks", "PreToolUse", 0, "a"}), "refused: hooks.PreToolUse.[0].a is not an object");
    EXPECT_EQ(set({"hooks", "missing", "x"}), "refused: hooks.missing.x is not an object");
    EXPECT_EQ(remove({"missing"}, "k"), "refused: missing is not an object");
    EXPECT_EQ(remove({}, "k"), "refused: k is not in the top-level value");
    EXPECT_EQ(remove({"hooks", "PreToolUse", 0}, "b"), "refused: b is not in hooks.PreToolUse.[0]");
    EXPECT_EQ(append({}), "refused: the top-level value is not an array");
    EXPECT_EQ(append({"hooks", "missing"}), "refused: hooks.missing is not an array");
    EXPECT_EQ(cut({"hooks"}, 0), "refused: hooks is not an array");
    EXPECT_EQ(cut({"hooks", "PreToolUse"}, 1), "refused: hooks.PreToolUse has no element 1");
    EXPECT_EQ(cut({"hooks", "PreToolUse"}, -1), "refused: hooks.PreToolUse has no element -1");
    EXPECT_EQ(shown(JSONEdit::setMember(asBytes("[1]"), {}, "k", 1, strict)),
              "refused: the top-level value is not an object");
}

TEST(JSONEdit, RefusesADocumentThatDoesNotScan) {
    struct Case {
        std::string_view name, document, want;
    };
    const Case table[] = {
        {"a byte-order mark", "\xef\xbb\xbf{}", "refused: a value was expected (at byte 0)"},
        {"a trailing comma", "{\"a\":[1],}", "refused: a member name was expected (at byte 9)"},
        {"a comment in plain JSON", "{\"a\":[1]} // note",
         "refused: there are bytes after the top-level value (at byte 10)"},
        {"nothing", "", "refused: the document ended where a value was expected (at byte 0)"},
        {"a missing comma", "{\"a\": 1 \"b\": 2", "refused: a comma or a closing brace was expected (at byte 8)"},
    };
    for (const Case& row : table) {
        const BytesView document = asBytes(row.document);
        EXPECT_EQ(shown(JSONEdit::setMember(document, {}, "k", 1, strict)), row.want) << row.name;
        EXPECT_EQ(shown(JSONEdit::removeMember(document, {}, "a", strict)), row.want) << row.name;
        EXPECT_EQ(shown(JSONEdit::appendElement(document, {"a"}, 1)), row.want) << row.name;
        EXPECT_EQ(shown(JSONEdit::removeElement(document, {"a"}, 0)), row.want) << row.name;
    }
    EXPECT_EQ(shown(JSONEdit::setMember(asBytes("{\"a\":1,}"), {}, "k", 1, withComments)),
              "refused: a member name was expected (at byte 7)");
}

TEST(JSONEdit, NeverGivesBackWhatWouldNotScan) {
    const std::string deep = std::string(63, '[') + "{}" + std::string(63, ']');
    const JSONPath inside(63, 0);
    EXPECT_TRUE(JSONEdit::setMember(asBytes(deep), inside, "k", 1, strict));
    EXPECT_EQ(shown(JSONEdit::setMember(asBytes(deep), inside, "k", JSONLiteral::array({}), strict)),
              "refused: the document nests deeper than 64 levels (at byte 68)");
    EXPECT_EQ(shown(JSONEdit::setMember(asBytes("{}"), {}, "k", "\xff", strict)),
              "refused: a string holds bytes that are not UTF-8 (at byte 5)");
    EXPECT_EQ(shown(JSONEdit::setMember(asBytes("{}"), {}, "\xff", 1, strict)),
              "refused: a string holds bytes that are not UTF-8 (at byte 1)");
}

}  // namespace
}  // namespace larkmoor

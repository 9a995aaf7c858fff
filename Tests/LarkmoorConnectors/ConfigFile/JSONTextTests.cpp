// What a JSON scan finds, and in which words and where it refuses.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/JSONComments.h"
#include "LarkmoorConnectors/ConfigFile/JSONDuplicates.h"
#include "LarkmoorConnectors/ConfigFile/JSONGuarantees.h"
#include "LarkmoorConnectors/ConfigFile/JSONOutline.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor {
namespace {

using testing::outline;
using namespace std::string_literals;

constexpr JSONDialect strict = JSONDialect::strict;
constexpr JSONDialect withComments = JSONDialect::withComments;

auto scan(std::string_view text, JSONDialect dialect = strict) {
    return JSONText::scanWithTrivia(asBytes(text), dialect);
}

std::string nested(int levels, std::string_view inside = "") {
    return std::string(static_cast<std::size_t>(levels), '[') + std::string{inside} +
           std::string(static_cast<std::size_t>(levels), ']');
}

TEST(JSONText, EveryNodeKnowsItsBytes) {
    struct Case {
        std::string_view in, want;
    };
    const Case table[] = {
        {"{}", "0-2{}"},
        {"[]", "0-2[]"},
        {" \t\r\n[ \n] ", "4-8[]"},
        {R"({"a":1,"b":[true,null]})", R"(0-23{ 1"a":5-6# 7"b":11-22[ 12-16true 17-21null]})"},
        {R"({ "a" : { } , "b" : "x" })", R"(0-25{ 2"a":8-11{} 14"b":20-23'x'})"},
        {R"({"a":1,"a":2})", R"(0-13{ 1"a":5-6# 7"a":11-12#})"},
        {"[[1],[[2]],3]", "0-13[ 1-4[ 2-3#] 5-10[ 6-9[ 7-8#]] 11-12#]"},
        {R"({"a":{"b":1},"c":{"d":{}}})", R"(0-26{ 1"a":5-12{ 6"b":10-11#} 13"c":17-25{ 18"d":22-24{}}})"},
        {"false", "0-5false"},
        {R"("")", "0-2''"},
        {R"("fifteen bytes !")", "0-17'fifteen bytes !'"},
        {R"("sixteen bytes !!")", "0-18'sixteen bytes !!'"},
        {"\"na\xc3\xafve \xe2\x80\x94 \xf0\x9d\x84\x9e\"", "0-17'na\xc3\xafve \xe2\x80\x94 \xf0\x9d\x84\x9e'"},
        {"\"\x7f\"", "0-3'\x7f'"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(outline(scan(row.in)), row.want) << row.in;
        EXPECT_EQ(outline(scan(row.in, withComments)), row.want) << row.in;
    }
}

TEST(JSONText, EscapesAreDecoded) {
    struct Case {
        std::string_view in;
        std::string want;
    };
    const Case table[] = {
        {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {R"("a\u00e9b\u20aC")", "a\u00e9b\u20ac"},
        {R"("\ud83d\ude00")", "\U0001F600"},
        {R"("\uDBFF\uDFFF")", "\U0010FFFF"},
        {R"("\ud800\udc00!")", "\U00010000!"},
        {R"("\u0000")", "\0"s},
        {R"("\uFFFF\uD7FF\uE000")", "\uFFFF\uD7FF\uE000"},
        {R"("before an escape \n and behind it")", "before an escape \n and behind it"},
    };
    for (const Case& row : table) {
        const auto result = scan(row.in);
        ASSERT_TRUE(result) << row.in;
        EXPECT_EQ(result->root.text(), row.want) << row.in;
        const auto name = scan("{" + std::string{row.in} + ":1}");
        ASSERT_TRUE(name) << row.in;
        EXPECT_NE(name->root.member(row.want), nullptr) << row.in;
    }
}

TEST(JSONText, NumbersAreSpelledAsJSONHasThem) {
    for (const std::string_view good : {"0", "-0", "7", "-12", "0.5", "1.0", "10.25", "0e0", "1E5", "1e+5", "-1.5E-10",
                                        "123456789012345678901234567890", "0.00000000000000001e999"}) {
        const auto result = scan(good);
        ASSERT_TRUE(result) << good;
        EXPECT_EQ(result->root.value(asBytes(good)), JSONValue{JSONValue::Number{std::string{good}}});
    }
    for (const std::string_view bad :
         {"-",   "1.", "1e",        "1e+",      "1E-", ".5", "+1", "-.5", "-a", "1.e5", "Infinity",
          "NaN", "0.", "-Infinity", "\xc2\xb2", "'a'", "}",  "]",  ",",   ":",  "/",    "#"}) {
        EXPECT_EQ(outline(scan(bad)), "a value was expected (at byte 0)") << bad;
        EXPECT_EQ(outline(scan("[1, " + std::string{bad})), "a value was expected (at byte 4)") << bad;
    }
    for (const std::string_view tail : {"0123", "00", "-01", "0x1", "0-1"}) {
        const std::string offset = tail.starts_with('-') ? "2" : "1";
        EXPECT_EQ(outline(scan(tail)), "there are bytes after the top-level value (at byte " + offset + ")") << tail;
    }
}

TEST(JSONText, RefusesWithOneReasonAndPlace) {
    struct Case {
        std::string_view in, want;
    };
    const Case table[] = {
        {"", "the document ended where a value was expected (at byte 0)"},
        {" \n\t", "the document ended where a value was expected (at byte 3)"},
        {"[", "the document ended where a value was expected (at byte 1)"},
        {"[1, ", "the document ended where a value was expected (at byte 4)"},
        {R"({"a": )", "the document ended where a value was expected (at byte 6)"},
        {"\xef\xbb\xbf{}", "a value was expected (at byte 0)"},
        {"\f{}", "a value was expected (at byte 0)"},
        {"\v1", "a value was expected (at byte 0)"},
        {"\xc2\xa0"
         "1",
         "a value was expected (at byte 0)"},
        {"[1,]", "a value was expected (at byte 3)"},
        {"[,1]", "a value was expected (at byte 1)"},
        {"tru", "a value was expected (at byte 0)"},
        {" falsy", "a value was expected (at byte 1)"},
        {"[nul]", "a value was expected (at byte 1)"},
        {"True", "a value was expected (at byte 0)"},
        {"/", "a value was expected (at byte 0)"},
        {"nullx", "there are bytes after the top-level value (at byte 4)"},
        {"{} {}", "there are bytes after the top-level value (at byte 3)"},
        {"[truefalse]", "a comma or a closing bracket was expected (at byte 5)"},
        {"{", "a member name was expected (at byte 1)"},
        {R"({"a":1,)", "a member name was expected (at byte 7)"},
        {R"({"a":1,})", "a member name was expected (at byte 7)"},
        {R"({"a":1, , "b":2})", "a member name was expected (at byte 8)"},
        {"{a:1}", "a member name was expected (at byte 1)"},
        {"{'a':1}", "a member name was expected (at byte 1)"},
        {"{1:1}", "a member name was expected (at byte 1)"},
        {R"({"a")", "a colon was expected after a member name (at byte 4)"},
        {R"({"a" 1})", "a colon was expected after a member name (at byte 5)"},
        {R"({"a","b"})", "a colon was expected after a member name (at byte 4)"},
        {R"({"a":1 )", "the document ended inside an object (at byte 7)"},
        {R"({"a":1 "b":2})", "a comma or a closing brace was expected (at byte 7)"},
        {R"({"a":1])", "a comma or a closing brace was expected (at byte 6)"},
        {R"({"a":0123})", "a comma or a closing brace was expected (at byte 6)"},
        {"[1", "the document ended inside an array (at byte 2)"},
        {"[1 2]", "a comma or a closing bracket was expected (at byte 3)"},
        {"[1}", "a comma or a closing bracket was expected (at byte 2)"},
        {R"(["abc)", "the document ended inside a string (at byte 1)"},
        {R"(["ab\n)", "the document ended inside a string (at byte 1)"},
        {"[\"a\tb\"]", "a string holds an unescaped control character (at byte 1)"},
        {"\"a\nb\"", "a string holds an unescaped control character (at byte 0)"},
        {std::string_view{"\"long enough \0 for eight\"", 25},
         "a string holds an unescaped control character (at byte 0)"},
        {"\"\x1f\"", "a string holds an unescaped control character (at byte 0)"},
        {R"("abc\)", "the document ended inside an escape (at byte 0)"},
        {R"(["a\x"])", "a string holds an escape that is not JSON's (at byte 1)"},
        {R"("\'")", "a string holds an escape that is not JSON's (at byte 0)"},
        {R"("\U0041")", "a string holds an escape that is not JSON's (at byte 0)"},
        {R"("\u12")", R"(a string holds a \u escape that is not four hex digits (at byte 0))"},
        {R"("\u12)", R"(a string holds a \u escape that is not four hex digits (at byte 0))"},
        {R"("\u+123")", R"(a string holds a \u escape that is not four hex digits (at byte 0))"},
        {R"("\u 123")", R"(a string holds a \u escape that is not four hex digits (at byte 0))"},
        {R"("\u0x12")", R"(a string holds a \u escape that is not four hex digits (at byte 0))"},
        {R"("\ud83d\u12")", R"(a string holds a \u escape that is not four hex digits (at byte 0))"},
        {R"("\ud83d")", "a string holds an unpaired surrogate (at byte 0)"},
        {R"("\ud83d)", "a string holds an unpaired surrogate (at byte 0)"},
        {R"("\ude00")", "a string holds an unpaired surrogate (at byte 0)"},
        {R"("\ude00\ude00")", "a string holds an unpaired surrogate (at byte 0)"},
        {R"("\ud83dx")", "a string holds an unpaired surrogate (at byte 0)"},
        {R"("\ud83d\n")", "a string holds an unpaired surrogate (at byte 0)"},
        {R"("\ud83d\ud83d")", "a string holds an unpaired surrogate (at byte 0)"},
        {R"("\ud83d\u0041")", "a string holds an unpaired surrogate (at byte 0)"},
        {"{\"\xff\":1}", "a string holds bytes that are not UTF-8 (at byte 1)"},
        {"\"\xc3\\u00a9\"", "a string holds bytes that are not UTF-8 (at byte 0)"},
        {"\"\xed\xa0\x80\"", "a string holds bytes that are not UTF-8 (at byte 0)"},
        {"\"\xc0\xaf\"", "a string holds bytes that are not UTF-8 (at byte 0)"},
        {"\"seven b\xc3\"", "a string holds bytes that are not UTF-8 (at byte 0)"},
        // Of two faults in one string, the first to be met is told.
        {"\"\xff\t\"", "a string holds an unescaped control character (at byte 0)"},
        {"\"\xff\\x\"", "a string holds bytes that are not UTF-8 (at byte 0)"},
        {"\"\xff", "the document ended inside a string (at byte 0)"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(outline(scan(row.in)), row.want) << row.in;
        EXPECT_EQ(outline(scan(row.in, withComments)), row.want) << row.in;
    }
}

TEST(JSONText, CommentsAreTriviaInTheirDialectAlone) {
    struct Case {
        std::string_view in, commented, plain;
    };
    const Case table[] = {
        {"// note\n{}", "8-10{} //0-7", "a value was expected (at byte 0)"},
        {"// x\r\n{}", "6-8{} //0-4", "a value was expected (at byte 0)"},
        {"//\r\n{}", "4-6{} //0-2", "a value was expected (at byte 0)"},
        {"// a\rb\n{}", "7-9{} //0-6", "a value was expected (at byte 0)"},
        {"{} // end", "0-2{} //3-9", "there are bytes after the top-level value (at byte 3)"},
        {"{}//\r", "0-2{} //2-5", "there are bytes after the top-level value (at byte 2)"},
        {"{}/**/ ", "0-2{} //2-6", "there are bytes after the top-level value (at byte 2)"},
        {"[/*a*//*b*/1/*c*/,//d\n2/*e*/]", "0-29[ 11-12# 22-23#] //1-6 //6-11 //12-17 //18-21 //23-28",
         "a value was expected (at byte 1)"},
        {"{/*a*/\"k\"/*b*/:/*c*/1/*d*/}", "0-27{ 6\"k\":20-21#} //1-6 //9-14 //15-20 //21-26",
         "a member name was expected (at byte 1)"},
        {"{\"a\":1 // one\n}", "0-15{ 1\"a\":5-6#} //7-13", "a comma or a closing brace was expected (at byte 7)"},
        {"[1 /* // */ ]", "0-13[ 1-2#] //3-11", "a comma or a closing bracket was expected (at byte 3)"},
        {"\"// no comment\"", "0-15'// no comment'", "0-15'// no comment'"},
        {"/*\xff*/1", "5-6# //0-5", "a value was expected (at byte 0)"},
        {"/* a /* b */ 1 */", "there are bytes after the top-level value (at byte 15)",
         "a value was expected (at byte 0)"},
        {"/*/ 1", "the document ended inside a comment (at byte 0)", "a value was expected (at byte 0)"},
        {"[1, /* 2]", "the document ended inside a comment (at byte 4)", "a value was expected (at byte 4)"},
        {"{} /*", "the document ended inside a comment (at byte 3)",
         "there are bytes after the top-level value (at byte 3)"},
        {"{} /", "there are bytes after the top-level value (at byte 3)",
         "there are bytes after the top-level value (at byte 3)"},
        {"[1, / 2]", "a value was expected (at byte 4)", "a value was expected (at byte 4)"},
        {"# no\n1", "a value was expected (at byte 0)", "a value was expected (at byte 0)"},
        {"{\"a\":1, // last\n}", "a member name was expected (at byte 16)", "a member name was expected (at byte 8)"},
        {"[1, /* last */]", "a value was expected (at byte 14)", "a value was expected (at byte 4)"},
        {"// only", "the document ended where a value was expected (at byte 7)", "a value was expected (at byte 0)"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(outline(scan(row.in, withComments)), row.commented) << row.in;
        EXPECT_EQ(outline(scan(row.in, strict)), row.plain) << row.in;
    }
}

TEST(JSONText, NestsToSixtyFourLevels) {
    EXPECT_TRUE(scan(nested(64)));
    EXPECT_TRUE(scan(nested(64, "1")));
    EXPECT_EQ(outline(scan(nested(65))), "the document nests deeper than 64 levels (at byte 64)");
    EXPECT_EQ(outline(scan(nested(64, "{}"))), "the document nests deeper than 64 levels (at byte 64)");
    EXPECT_EQ(outline(scan(std::string(1000000, '['))), "the document nests deeper than 64 levels (at byte 64)");
    // What is closed counts no longer.
    EXPECT_TRUE(scan("[" + nested(63) + "," + nested(63) + ",{\"a\":" + nested(62) + "}]"));
}

TEST(JSONText, APrefixOfAFileReadsOnlyIfItHoldsTheWholeValue) {
    const std::string_view files[] = {
        R"({"hooks": {"PreToolUse": [{"matcher": "Bash", "timeout": -1.5e+3, "on": [true, false, null]}]}})",
        "[\"\\ud83d\\ude00\\u00e9\", \"na\xc3\xafve\", {\"a\\\"b\": {}}, [[]], 0.25]",
        "// head\r\n{\r\n  /* in */ \"a\": 1, // tail\r\n  \"b\": \"x\" // last\r\n}",
    };
    for (const std::string_view file : files) {
        ASSERT_TRUE(scan(file, withComments));
        for (std::size_t length = 0; length < file.size(); ++length) {
            const auto result = scan(file.substr(0, length), withComments);
            ASSERT_FALSE(result) << file.substr(0, length);
            EXPECT_LE(result.error().offset, static_cast<std::int64_t>(length));
            EXPECT_GE(result.error().offset, 0);
        }
    }
}

TEST(JSONNode, IsFoundByAPathOfFirstMembers) {
    const std::string_view document = R"({"a":[{"b":1,"b":2},[]],"":{"a":3},"a":4})";
    const auto result = scan(document);
    ASSERT_TRUE(result);
    struct Case {
        JSONPath path;
        std::string_view want;
    };
    const Case table[] = {
        {{}, document},
        {{"a"}, R"([{"b":1,"b":2},[]])"},
        {{"a", 0}, R"({"b":1,"b":2})"},
        {{"a", 0, "b"}, "1"},
        {{"a", 1}, "[]"},
        {{"", "a"}, "3"},
        {{"a", 2}, ""},
        {{"a", -1}, ""},
        {{"a", "0"}, ""},
        {{"a", 1, 0}, ""},
        {{"a", 0, "b", "c"}, ""},
        {{0}, ""},
        {{"b"}, ""},
    };
    for (const Case& row : table) {
        const JSONNode* node = result->root.node(row.path);
        EXPECT_EQ(node == nullptr ? "" : JSONLayout::textOf(node->range(), asBytes(document)), row.want);
    }
    EXPECT_EQ(result->root.member("a")->keyStart, 1);
    EXPECT_EQ(result->root.member("c"), nullptr);
    EXPECT_EQ(result->root.node({"a"})->member("b"), nullptr);
}

TEST(JSONNode, SaysWhatItHoldsWithTheLastOfTwoMembers) {
    const std::string_view document = R"({"a":1,"b":[1.0,1,"x",true,null,{}],"a":1E5})";
    const JSONValue want = JSONValue::Object{
        {{"a", JSONValue::Number{"1E5"}},
         {"b", JSONValue::Array{{JSONValue::Number{"1.0"}, JSONValue::Number{"1"}, JSONValue::String{"x"},
                                 JSONValue::Bool{true}, JSONValue::Null{}, JSONValue::Object{}}}}}};
    const auto result = scan(document);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->root.value(asBytes(document)), want);
    EXPECT_EQ(result->root.member("a")->value.value(asBytes(document)), JSONValue{JSONValue::Number{"1"}});
    EXPECT_NE(JSONValue{JSONValue::Number{"1"}}, JSONValue{JSONValue::String{"1"}});
    EXPECT_NE(JSONValue{JSONValue::Number{"1"}}, JSONValue{JSONValue::Number{"1.0"}});
}

TEST(JSONNode, IsAPlainValue) {
    const std::string document = R"({"a name beyond the small ones":["short","longer than fifteen bytes",{"b":1}]})";
    std::string before;
    JSONNode copy;
    {
        auto result = scan(document);
        ASSERT_TRUE(result);
        before = outline(result->root);
        copy = result->root;
        const JSONNode moved = std::move(result->root);
        EXPECT_EQ(outline(moved), before);
    }
    EXPECT_EQ(outline(copy), before);
    EXPECT_EQ(document.substr(69, 7), R"({"b":1})");
    copy = JSONNode{*copy.node({"a name beyond the small ones", 2})};
    EXPECT_EQ(outline(copy), R"(69-76{ 70"b":74-75#})");
}

TEST(JSONDuplicates, AreToldAtTheSecondName) {
    struct Case {
        std::string_view in;
        std::optional<std::string> want;
    };
    const Case table[] = {
        {R"({})", {}},
        {R"([1,1])", {}},
        {R"({"a":1,"b":{"a":1,"a":2},"A":2})", {}},
        {R"({"a":1,"b":2,"a":3,"b":4})", R"(the name "a" appears twice in one object (at byte 13))"},
        {R"({"x": {}, "\u0078": 1})", R"(the name "x" appears twice in one object (at byte 10))"},
        {R"({"":1,"":2})", R"(the name "" appears twice in one object (at byte 6))"},
    };
    for (const Case& row : table) {
        const auto result = scan(row.in);
        ASSERT_TRUE(result) << row.in;
        EXPECT_EQ(JSONDuplicates::reason(result->root), row.want) << row.in;
    }
}

TEST(JSONComments, AreCountedWhenWhollyInside) {
    const ByteRange comments[] = {{2, 5}, {5, 9}, {20, 30}};
    struct Case {
        ByteRange range;
        std::size_t want;
    };
    const Case table[] = {{{0, 40}, 3}, {{2, 30}, 3}, {{3, 30}, 2},  {{2, 29}, 2}, {{5, 9}, 1},
                          {{6, 8}, 0},  {{9, 20}, 0}, {{21, 40}, 0}, {{2, 2}, 0}};
    for (const Case& row : table) {
        EXPECT_EQ(JSONComments::count(comments, row.range), row.want) << row.range.start << "-" << row.range.end;
    }
    EXPECT_EQ(JSONComments::count({}, {0, 9}), 0U);
}

}  // namespace
}  // namespace larkmoor

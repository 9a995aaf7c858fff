// What a JSON scan finds, and in which words and where it refuses.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/JSONGuarantees.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr JSONDialect strict = JSONDialect::strict;
constexpr JSONDialect withComments = JSONDialect::withComments;

auto scan(std::string_view text, JSONDialect dialect = strict) { return JSONDocument::read(asBytes(text), dialect); }

/// {0-9 1"a":5=true} is an object of the bytes 0 to 9 whose name "a" begins at 1; a number shows as #.
std::string outline(const JSONNode& node) {
    const std::string content = node.kind.visit(
        [](const JSONKind::Object& object) {
            std::string text;
            for (const JSONMember& member : object.members) {
                text += fmt::format(" {}\"{}\":{}", member.keyStart, member.key, outline(member.value));
            }
            return "{" + text + "}";
        },
        [](const JSONKind::Array& array) {
            std::string text;
            for (const JSONNode& element : array.elements) text += " " + outline(element);
            return "[" + text + "]";
        },
        [](const JSONKind::String& string) { return fmt::format("'{}'", string.text); },
        [](const JSONKind::Bool& flag) { return std::string{flag.value ? "true" : "false"}; },
        [](const JSONKind::Number&) { return std::string{"#"}; },
        [](const JSONKind::Null&) { return std::string{"null"}; });
    return fmt::format("{}-{}{}", node.start, node.end, content);
}

/// The tree and then each comment's range, or the error's description.
std::string outline(const std::expected<JSONDocument, JSONTextError>& scan) {
    if (!scan) return scan.error().description();
    std::string text = outline(scan->root());
    for (const ByteRange comment : scan->comments()) text += fmt::format(" //{}-{}", comment.start, comment.end);
    return text;
}

std::string nested(int levels, std::string_view inside = "") {
    return std::string(static_cast<std::size_t>(levels), '[') + std::string{inside} +
           std::string(static_cast<std::size_t>(levels), ']');
}

TEST(JSONText, EveryNodeKnowsItsBytes) {
    const std::pair<std::string_view, std::string_view> table[] = {
        {" \t\r\n[ \n] ", "4-8[]"},
        {R"({ "a" : { } , "b":[true,null],"a":"x" })",
         R"(0-39{ 2"a":8-11{} 14"b":18-29[ 19-23true 24-28null] 30"a":34-37'x'})"},
        {"[[1],[[2]],3]", "0-13[ 1-4[ 2-3#] 5-10[ 6-9[ 7-8#]] 11-12#]"},
        {"false", "0-5false"},
        {R"("")", "0-2''"},
        {R"("fifteen bytes !")", "0-17'fifteen bytes !'"},
        {R"("sixteen bytes !!")", "0-18'sixteen bytes !!'"},
        {"\"na\xc3\xafve \xe2\x80\x94 \xf0\x9d\x84\x9e\x7f\"", "0-18'na\xc3\xafve \xe2\x80\x94 \xf0\x9d\x84\x9e\x7f'"},
    };
    for (const auto& [in, want] : table) {
        EXPECT_EQ(outline(scan(in)), want);
        EXPECT_EQ(outline(scan(in, withComments)), want);
    }
}

TEST(JSONText, EscapesAreDecoded) {
    const std::pair<std::string_view, std::string> table[] = {
        {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {R"("a\u00e9b\u20aC")", "a\u00e9b\u20ac"},
        {R"("\ud83d\ude00\uDBFF\uDFFF\ud800\udc00!")", "\U0001F600\U0010FFFF\U00010000!"},
        {R"("\u0000")", "\0"s},
        {R"("\uFFFF\uD7FF\uE000")", "\uFFFF\uD7FF\uE000"},
        {R"("before an escape \n and behind it")", "before an escape \n and behind it"},
    };
    for (const auto& [in, want] : table) {
        const auto result = scan("{" + std::string{in} + ":" + std::string{in} + "}");
        ASSERT_TRUE(result) << in;
        const JSONMember* member = result->root().member(want);
        ASSERT_NE(member, nullptr) << in;
        EXPECT_EQ(member->value.text(), want);
    }
}

TEST(JSONText, RefusesWithOneReasonAndPlace) {
    struct Case {
        std::string_view want;
        std::vector<std::string_view> in;  ///< a ^ stands before the place
    };
    const Case table[] = {
        {"the document ended where a value was expected", {"^", " \n\t^", "[^", "[1, ^", R"({"a": ^)"}},
        {"a value was expected",
         {"^\xef\xbb\xbf{}", "^\f{}", "^\v1",      "^\xc2\xa0 1", "[1,^]", "[^,1]", "^tru", " ^falsy", "[^nul]",
          "^True",           "^/",    "^-",        "[1, ^1.",     "^1e",   "^1e+",  "^.5",  "^+1",     "^-a",
          "^1.e5",           "^NaN",  "^\xc2\xb2", "^'a'",        "^}",    "^#"}},
        {"there are bytes after the top-level value", {"null^x", "{} ^{}", "0^123", "-0^1", "0^x1", "0^-1"}},
        {"a member name was expected",
         {"{^", R"({"a":1,^)", R"({"a":1,^})", R"({"a":1, ^, "b":2})", "{^a:1}", "{^'a':1}", "{^1:1}"}},
        {"a colon was expected after a member name", {R"({"a"^)", R"({"a" ^1})", R"({"a"^,"b"})"}},
        {"the document ended inside an object", {R"({"a":1 ^)"}},
        {"a comma or a closing brace was expected", {R"({"a":1 ^"b":2})", R"({"a":1^])", R"({"a":0^123})"}},
        {"the document ended inside an array", {"[1^"}},
        {"a comma or a closing bracket was expected", {"[1 ^2]", "[1^}", "[true^false]"}},
        {"the document ended inside a string", {R"([^"abc)", R"([^"ab\n)", "^\"\xff"}},
        {"a string holds an unescaped control character",
         {"[^\"a\tb\"]", "^\"a\nb\"", "^\"long enough \0 for eight\""sv, "^\"\x1f\"", "^\"\xff\t\""}},
        {"the document ended inside an escape", {R"(^"abc\)"}},
        {"a string holds an escape that is not JSON's", {R"([^"a\x"])", R"(^"\'")", R"(^"\U0041")"}},
        {R"(a string holds a \u escape that is not four hex digits)",
         {R"(^"\u12")", R"(^"\u12)", R"(^"\u+123")", R"(^"\u 123")", R"(^"\u0x12")", R"(^"\ud83d\u12")"}},
        {"a string holds an unpaired surrogate",
         {R"(^"\ud83d")", R"(^"\ud83d)", R"(^"\ude00")", R"(^"\ude00\ude00")", R"(^"\ud83dx")", R"(^"\ud83d\n")",
          R"(^"\ud83d\ud83d")", R"(^"\ud83d\u0041")"}},
        {"a string holds bytes that are not UTF-8",
         {"{^\"\xff\":1}", "^\"\xc3\\u00a9\"", "^\"\xed\xa0\x80\"", "^\"\xc0\xaf\"", "^\"seven b\xc3\"",
          "^\"\xff\\x\""}},
    };
    for (const Case& row : table) {
        for (const std::string_view marked : row.in) {
            const std::size_t place = marked.find('^');
            const std::string in = std::string{marked}.erase(place, 1);
            const std::string want = std::string{row.want} + " (at byte " + std::to_string(place) + ")";
            EXPECT_EQ(outline(scan(in)), want) << in;
            EXPECT_EQ(outline(scan(in, withComments)), want) << in;
        }
    }
}

TEST(JSONText, FindsAControlCharacterAnywhereInALongString) {
    const std::string text(40, 'x');
    for (std::size_t place = 0; place <= text.size(); ++place) {
        for (const char byte : {'\0', '\t', '\n', '\x1f', ' ', '\x7f'}) {
            std::string held = text;
            held.insert(place, 1, byte);
            const bool isControl = byte < ' ';
            const std::string want = "a string holds an unescaped control character (at byte 1)";
            EXPECT_EQ(outline(scan("[\"" + held + "\"]")), isControl ? want : "0-45[ 1-44'" + held + "']") << place;
            EXPECT_EQ(scan(JSONLiteral::quote(held))->root().text(), held) << place;
        }
    }
}

TEST(JSONText, CommentsAreTriviaInTheirDialectAlone) {
    const std::pair<std::string_view, std::string_view> table[] = {
        {"// note\n{}", "8-10{} //0-7"},
        {"// x\r\n{}", "6-8{} //0-4"},
        {"//\r\n{}", "4-6{} //0-2"},
        {"// a\rb\n{}", "7-9{} //0-6"},
        {"{} // end", "0-2{} //3-9"},
        {"{}//\r", "0-2{} //2-5"},
        {"{}/**/ ", "0-2{} //2-6"},
        {"[/*a*//*b*/1/*c*/,//d\n2/*e*/]", "0-29[ 11-12# 22-23#] //1-6 //6-11 //12-17 //18-21 //23-28"},
        {"{/*a*/\"k\"/*b*/:/*c*/1/*d*/}", "0-27{ 6\"k\":20-21#} //1-6 //9-14 //15-20 //21-26"},
        {"{\"a\":1 // one\n}", "0-15{ 1\"a\":5-6#} //7-13"},
        {"[1 /* // */ ]", "0-13[ 1-2#] //3-11"},
        {"\"// no comment\"", "0-15'// no comment'"},
        {"/*\xff*/1", "5-6# //0-5"},
        {"/* a /* b */ 1 */", "there are bytes after the top-level value (at byte 15)"},
        {"/*/ 1", "the document ended inside a comment (at byte 0)"},
        {"[1, /* 2]", "the document ended inside a comment (at byte 4)"},
        {"{} /*", "the document ended inside a comment (at byte 3)"},
        {"{} /", "there are bytes after the top-level value (at byte 3)"},
        {"[1, / 2]", "a value was expected (at byte 4)"},
        {"# no\n1", "a value was expected (at byte 0)"},
        {"{\"a\":1, // last\n}", "a member name was expected (at byte 16)"},
        {"[1, /* last */]", "a value was expected (at byte 14)"},
        {"// only", "the document ended where a value was expected (at byte 7)"},
    };
    for (const auto& [in, want] : table) {
        EXPECT_EQ(outline(scan(in, withComments)), want) << in;
        EXPECT_EQ(scan(in).has_value(), in.starts_with('"')) << in;
    }
}

TEST(JSONText, NestsToSixtyFourLevels) {
    EXPECT_TRUE(scan(nested(64, "1")));
    EXPECT_EQ(outline(scan(nested(64, "{}"))), "the document nests deeper than 64 levels (at byte 64)");
    EXPECT_EQ(outline(scan(std::string(1000000, '['))), "the document nests deeper than 64 levels (at byte 64)");
    // What is closed counts no longer.
    EXPECT_TRUE(scan("[" + nested(63) + "," + nested(63) + ",{\"a\":" + nested(62) + "}]"));
}

TEST(JSONNode, SaysWhatItHoldsWithTheLastOfTwoMembers) {
    const std::string_view document = R"({"a":1,"b":[1.0,1,"x",true,null,{}],"a":1E5})";
    const JSONValue want = JSONValue::Object{
        {{"a", JSONValue::Number{"1E5"}},
         {"b", JSONValue::Array{{JSONValue::Number{"1.0"}, JSONValue::Number{"1"}, JSONValue::String{"x"},
                                 JSONValue::Bool{true}, JSONValue::Null{}, JSONValue::Object{}}}}}};
    const auto result = scan(document);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->root().value(asBytes(document)), want);
    EXPECT_EQ(result->root().member("a")->value.value(asBytes(document)), JSONValue{JSONValue::Number{"1"}});
    EXPECT_NE(JSONValue{JSONValue::Number{"1"}}, JSONValue{JSONValue::String{"1"}});
    EXPECT_NE(JSONValue{JSONValue::Number{"1"}}, JSONValue{JSONValue::Number{"1.0"}});
}

}  // namespace
}  // namespace larkmoor

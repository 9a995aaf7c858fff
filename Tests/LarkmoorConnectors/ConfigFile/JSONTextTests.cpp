// Where a JSON scan finds comments, and in which words and where it refuses. That each node has its own bytes is asked
// of generated documents.
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr JSONDialect strict = JSONDialect::strict;
constexpr JSONDialect withComments = JSONDialect::withComments;

auto scan(std::string_view text, JSONDialect dialect = strict) { return JSONDocument::read(asBytes(text), dialect); }

/// The range of each comment, or the error's description.
std::string outline(const std::expected<JSONDocument, JSONTextError>& scan) {
    if (!scan) return scan.error().description();
    std::string text;
    for (const ByteRange comment : scan->comments()) text += fmt::format(" //{}-{}", comment.start, comment.end);
    return text;
}

std::string nested(int levels, std::string_view inside = "") {
    return std::string(static_cast<std::size_t>(levels), '[') + std::string{inside} +
           std::string(static_cast<std::size_t>(levels), ']');
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
         {"^\xef\xbb\xbf{}", "^\f{}", "[1,^]", " ^falsy", "^True", "^/", "^-", "[1, ^1.", "^1e+", "^+1", "^NaN", "^'a'",
          "^#"}},
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

TEST(JSONText, CommentsAreTriviaInTheirDialectAlone) {
    const std::pair<std::string_view, std::string_view> table[] = {
        {"// x\r\n{}", " //0-4"},
        {"// a\rb\n{}", " //0-6"},
        {"{}//\r", " //2-5"},
        {"\"// no comment\"", ""},
        {"/*\xff*/1", " //0-5"},
        {"/* a /* b */ 1 */", "there are bytes after the top-level value (at byte 15)"},
        {"/*/ 1", "the document ended inside a comment (at byte 0)"},
        {"[1, /* 2]", "the document ended inside a comment (at byte 4)"},
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

}  // namespace
}  // namespace larkmoor

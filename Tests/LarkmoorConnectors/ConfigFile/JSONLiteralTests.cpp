// The text of a literal, in both styles.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor {
namespace {

using namespace std::string_literals;

TEST(JSONLiteral, RendersInBothStyles) {
    struct Case {
        JSONLiteral literal;
        std::string_view flat, spread;
    };
    const Case table[] = {
        {"x\"y", R"("x\"y")", R"("x\"y")"},
        {0, "0", "0"},
        {INT64_MIN, "-9223372036854775808", "-9223372036854775808"},
        {INT64_MAX, "9223372036854775807", "9223372036854775807"},
        {true, "true", "true"},
        {false, "false", "false"},
        {JSONLiteral::object({}), "{}", "{}"},
        {JSONLiteral::array({}), "[]", "[]"},
        {JSONLiteral::array({1, "a"}), R"([1,"a"])", "[\r\n>\t1,\r\n>\t\"a\"\r\n>]"},
        {JSONLiteral::object({{"b", 1}, {"a", 2}}), R"({"b":1,"a":2})", "{\r\n>\t\"b\": 1,\r\n>\t\"a\": 2\r\n>}"},
        {JSONLiteral::object(
             {{"k\n", JSONLiteral::array({JSONLiteral::object({}), JSONLiteral::object({{"x", false}})})}}),
         R"({"k\n":[{},{"x":false}]})",
         "{\r\n>\t\"k\\n\": [\r\n>\t\t{},\r\n>\t\t{\r\n>\t\t\t\"x\": false\r\n>\t\t}\r\n>\t]\r\n>}"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(row.literal.render(">", "\t", {.spread = false, .newline = "\r\n"}), row.flat);
        EXPECT_EQ(row.literal.render(">", "\t", {.spread = true, .newline = "\r\n"}), row.spread);
    }
}

TEST(JSONLiteral, QuotesWhatJSONWantsQuotedAndNothingElse) {
    struct Case {
        std::string in, want;
    };
    const Case table[] = {
        {"", R"("")"},
        {"a/b", R"("a/b")"},
        {"\"\\", R"("\"\\")"},
        {"\b\t\n\f\r", R"("\b\t\n\f\r")"},
        {"\0\x01\x0b\x1f"s, R"("\u0000\u0001\u000b\u001f")"},
        {"\x7f \u00e9\u2028\U0001F600", "\"\x7f \u00e9\u2028\U0001F600\""},
    };
    for (const Case& row : table) {
        EXPECT_EQ(JSONLiteral::quote(row.in), row.want);
        const auto read = JSONText::scanWithTrivia(asBytes(row.want), JSONDialect::strict);
        ASSERT_TRUE(read) << row.want;
        EXPECT_EQ(read->root.text(), row.in);
    }
}

TEST(JSONLiteral, EqualsTheValueThatItsTextReadsAs) {
    const JSONLiteral literal =
        JSONLiteral::object({{"z", -5},
                             {"a", JSONLiteral::array({"x", true, JSONLiteral::object({{"n", INT64_MIN}})})},
                             {"e", JSONLiteral::object({})}});
    for (const bool spread : {false, true}) {
        const std::string text = literal.render("", "  ", {spread, "\n"});
        const auto read = JSONText::scanWithTrivia(asBytes(text), JSONDialect::strict);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->root.value(asBytes(text)), literal.value());
    }
    EXPECT_EQ(JSONLiteral::object({{"a", 1}, {"b", 2}}).value(), JSONLiteral::object({{"b", 2}, {"a", 1}}).value());
    EXPECT_NE(JSONLiteral{1}.value(), JSONLiteral{"1"}.value());
    EXPECT_NE(JSONLiteral{1}.value(), JSONLiteral{true}.value());
}

}  // namespace
}  // namespace larkmoor

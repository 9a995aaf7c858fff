// The text of a literal, in both styles.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/ConfigFile/JSONShown.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor {
namespace {

using testing::unfolded;
using namespace std::string_literals;

TEST(JSONLiteral, RendersInBothStyles) {
    const JSONLiteral inner = JSONLiteral::array({JSONLiteral::object({}), JSONLiteral::object({{"x", false}})});
    struct Case {
        JSONLiteral literal;
        std::string_view flat, spread;
    };
    const Case table[] = {
        {INT64_MIN, "-9223372036854775808", "-9223372036854775808"},
        {INT64_MAX, "9223372036854775807", "9223372036854775807"},
        {JSONLiteral::array({}), "[]", "[]"},
        {JSONLiteral::array({true, "a"}), "[true,'a']", "[\r|>\ttrue,\r|>\t'a'\r|>]"},
        {JSONLiteral::object({{"b", 0}, {"k\n", inner}}), "{'b':0,'k\\n':[{},{'x':false}]}",
         "{\r|>\t'b': 0,\r|>\t'k\\n': [\r|>\t\t{},\r|>\t\t{\r|>\t\t\t'x': false\r|>\t\t}\r|>\t]\r|>}"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(unfolded(row.literal.render(">", "\t", {.spread = false, .newline = "\r\n"})), unfolded(row.flat));
        EXPECT_EQ(unfolded(row.literal.render(">", "\t", {.spread = true, .newline = "\r\n"})), unfolded(row.spread));
    }
}

TEST(JSONLiteral, QuotesWhatJSONWantsQuotedAndNothingElse) {
    const std::pair<std::string, std::string_view> table[] = {
        {"a/b", R"("a/b")"},
        {"\"\\\b\t\n\f\r", R"("\"\\\b\t\n\f\r")"},
        {"\0\x01\x0b\x1f"s, R"("\u0000\u0001\u000b\u001f")"},
        {"\x7f \u00e9\u2028\U0001F600", "\"\x7f \u00e9\u2028\U0001F600\""},
    };
    for (const auto& [in, want] : table) EXPECT_EQ(JSONLiteral::quote(in), want);
}

TEST(JSONLiteral, IsWhatItsMembersAreInAnyOrder) {
    EXPECT_EQ(JSONLiteral::object({{"a", 1}, {"b", 2}}).value(), JSONLiteral::object({{"b", 2}, {"a", 1}}).value());
    EXPECT_NE(JSONLiteral{1}.value(), JSONLiteral{"1"}.value());
    EXPECT_NE(JSONLiteral{1}.value(), JSONLiteral{true}.value());
}

}  // namespace
}  // namespace larkmoor

// What TOMLGuarantees.h asks, of generated documents; the fuzz targets ask it of any bytes.
#include <gtest/gtest.h>

#include <random>

#include "LarkmoorConnectors/ConfigFile/TOMLGuarantees.h"

namespace larkmoor {
namespace {

/// Repeatable by its seed. Every document scans.
class DocumentGenerator {
  public:
    explicit DocumentGenerator(unsigned seed) : random_(seed) {}

    std::string document() {
        ending_ = oneOf({"\n", "\r\n", ""});  // the empty one: now this, now that
        std::string file = oneOf({"", "", "", "\xEF\xBB\xBF"});
        for (std::size_t lines = random_() % 14; lines > 0; --lines) file += line();
        if (random_() % 3 == 0)
            file += oneOf({"# the end", "k = 1", "[z]", "z = 1 ", "\t", "[mcp_servers.larkmoor]", "\r"});
        return file;
    }

  private:
    std::string oneOf(std::initializer_list<std::string_view> choices) {
        return std::string{choices.begin()[random_() % choices.size()]};
    }

    std::string newline() { return ending_.empty() ? oneOf({"\n", "\r\n"}) : ending_; }
    std::string indent() { return oneOf({"", "", "", "  ", "\t"}); }
    std::string comment() { return oneOf({"", "", " ", " # note", "# \xC3\xA9 [x] = '", "\t#"}); }
    std::string part() {
        return oneOf({"a", "b-1", "mcp_servers", "larkmoor", "\"a b\"", "'c.d'", "\"\\u00e9\\\"\"", "\"\"", "1979"});
    }

    std::string name() {
        if (random_() % 4 == 0) return oneOf({"mcp_servers.larkmoor", "mcp_servers . \"larkmoor\""});
        std::string name = part();
        while (random_() % 3 == 0) name += oneOf({".", " . "}) + part();
        return name;
    }

    std::string value(int depth = 0) {
        switch (random_() % (depth < 3 ? 9 : 6)) {
            case 0:
                return oneOf({"1", "-0.5e3", "true", "inf", "0xFF"});
            case 1:
                return oneOf({"1979-05-27", "1979-05-27T07:32:00Z", "07:32:00", "1979-05-27 07:32:00.5"});
            case 2:
                return oneOf({R"("")", R"("x # \" \\ \U0001F600 ]")", "\"\t\xC3\xA9\""});
            case 3:
                return oneOf({"''", "'C:\\x'", "'\"#[{'"});
            case 4:
                return R"(""")" + oneOf({"", "\"", "\"\""}) + "x" + newline() + oneOf({"[t]", "\\\"\"\" x", "# no"}) +
                       R"(""")" + oneOf({"", "\"", "\"\""});
            case 5:
                return "'''" + newline() + oneOf({"a = 1", "'", "\\"}) + newline() + "'''";
            case 6:
                return "[" + list(depth) + "]";
            case 7:
                return "{ " + part() + " = " + value(depth + 1) + " }";
            default:
                return "[]";
        }
    }

    /// What stands in an array, over lines or not.
    std::string list(int depth) {
        std::string items;
        for (std::size_t count = random_() % 4; count > 0; --count) {
            items += oneOf({"", " "}) + value(depth + 1) + ",";
            if (random_() % 2 == 0) items += oneOf({"", " # ] \" '"}) + newline() + indent();
        }
        return items;
    }

    std::string line() {
        switch (random_() % 8) {
            case 0:
                return oneOf({"", " \t"}) + newline();
            case 1:
                return indent() + "# [comment] = \"" + newline();
            case 2:
            case 3:
                return indent() + oneOf({"[", "[ "}) + name() + oneOf({"]", " ]"}) + comment() + newline();
            case 4:
                return random_() % 3 == 0 ? "[[" + name() + "]]" + newline() : newline();
            default:
                return indent() + name() + oneOf({" = ", "=", "\t= "}) + value() + comment() + newline();
        }
    }

    std::mt19937_64 random_;
    std::string ending_;
};

TEST(TOMLGenerated, ScansAndEditsKeepTheirGuarantees) {
    unsigned saysMuch = 0;
    for (unsigned seed = 0; seed < 1500; ++seed) {
        const std::string file = DocumentGenerator{seed}.document();
        const auto document = TOMLText::scan(asBytes(file));
        ASSERT_TRUE(document) << seed << ": " << document.error().description() << "\n" << file;
        const testing::TOMLGuarantees guarantees{asBytes(file), *document};
        ASSERT_EQ(guarantees.ofTheScan(), std::nullopt) << "seed " << seed << "\n" << file;
        ASSERT_EQ(guarantees.ofEveryEdit(file.size() + 1), std::nullopt) << "seed " << seed << "\n" << file;
        saysMuch += document->allEntries.size() > 3 ? 1 : 0;
    }
    EXPECT_GT(saysMuch, 300U) << "the documents say too little";
}

}  // namespace
}  // namespace larkmoor

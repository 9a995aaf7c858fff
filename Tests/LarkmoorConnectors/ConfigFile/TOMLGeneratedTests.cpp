// What TOMLGuarantees.h asks, of documents put together from lines at random; the fuzz targets ask it of any bytes.
#include <random>

#include "LarkmoorConnectors/ConfigFile/TOMLGuarantees.h"

namespace larkmoor {
namespace {

/// Each is whole by itself, so that every choice of them is a document. "|" is the document's line ending.
constexpr std::string_view lines[] = {"|",
                                      " \t|",
                                      "# [comment] = \"|",
                                      "\t# \xC3\xA9 ' \"|",
                                      "[a]|",
                                      "  [ a . \"b c\" ] # note|",
                                      "[mcp_servers.larkmoor]|",
                                      "[mcp_servers . 'larkmoor']\t#|",
                                      "['c.d'.\"\\u00e9\\\"\"]|",
                                      "[\"\".1979.b-1]|",
                                      "[[a]]|",
                                      "[[mcp_servers.larkmoor]]|",
                                      "a = 1|",
                                      "b-1=-0.5e3 # note|",
                                      "\t\"a b\"\t= true|",
                                      "'c.d' . a = inf|",
                                      "larkmoor = 1979-05-27T07:32:00Z|",
                                      "larkmoor.x = 1979-05-27 07:32:00.5 |",
                                      "\"\" = \"\"|",
                                      "k = \"x # \\\" \\\\ \\U0001F600 ]\" # \" '|",
                                      "k = '\"#[{'|",
                                      "m = \"\"\"\"x|[t]|\\\"\"\" x\"\"\"\"\"|",
                                      "m = '''|a = 1|'|'''|",
                                      "l = []|",
                                      "l = [ 1, # ] \" '|  'x',|\t[{ y = [2,] }],| ]|",
                                      "t = { a = 'C:\\x', \"b\" = { c = [\"]\"] } }|"};

std::string documentOf(unsigned seed) {
    std::mt19937_64 random{seed};
    const auto pick = [&random](std::initializer_list<std::string_view> from) {
        return from.begin()[random() % from.size()];
    };
    const std::string_view ending = pick({"\n", "\r\n", ""});  // the empty one: either, line by line
    std::string file{pick({"", "", "", "\xEF\xBB\xBF"})};
    for (std::size_t count = random() % 14; count > 0; --count) {
        for (const char byte : lines[random() % std::size(lines)]) {
            if (byte == '|')
                file += ending.empty() ? pick({"\n", "\r\n"}) : ending;
            else
                file += byte;
        }
    }
    return file += pick({"", "", "# the end", "k = 1", "z = 1 ", "\t", "[mcp_servers.larkmoor]", "\r"});
}

TEST(TOMLGenerated, ScansAndEditsKeepTheirGuarantees) {
    unsigned saysMuch = 0;
    for (unsigned seed = 0; seed < 1500; ++seed) {
        const std::string file = documentOf(seed);
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

// Items and rows found by what people call them, and changes told to scripts.
#include "TrayWords.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/serialize.hpp>

#include "TrayReading.h"

namespace larkmoor::tray {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

ItemView itemWith(std::string service, std::string id, std::vector<RowView> rows = {}) {
    ItemView item;
    item.service = std::move(service);
    item.id = std::move(id);
    item.rows = std::move(rows);
    return item;
}

TEST(TrayReading, LabelsAsAPersonReadsThem) {
    struct Case {
        std::string_view name, label, text;
        int indent;
    };
    const Case table[] = {
        {"plain", "Quit", "Quit", 0},          {"mnemonic", "_Quit", "Quit", 0},
        {"an underscore", "a__b", "a_b", 0},   {"both", "_a__b", "a_b", 0},
        {"at the end", "a_", "a", 0},          {"indented", "\u2003\u2003• Stop", "• Stop", 2},
        {"inside", "a\u2003b", "a\u2003b", 0},
    };
    for (const Case& row : table) {
        EXPECT_EQ(plainLabel(row.label).text, row.text) << row.name;
        EXPECT_EQ(plainLabel(row.label).indent, row.indent) << row.name;
    }
}

TEST(TrayWords, FindsTheItemThatIsMeant) {
    const auto ours = itemWith(":1.1", "larkmoor");
    const auto other = itemWith(":1.2", "other");
    EXPECT_EQ(findItem({other, ours}, "")->service, ":1.1");
    EXPECT_EQ(findItem({other}, "")->service, ":1.2") << "the only one";
    EXPECT_EQ(findItem({other, ours}, "other")->service, ":1.2");
    EXPECT_EQ(findItem({other, ours}, ":1.2")->service, ":1.2");
    EXPECT_FALSE(findItem({}, "").has_value());
    EXPECT_FALSE(findItem({other, itemWith(":1.3", "third")}, "").has_value());
    EXPECT_FALSE(findItem({other}, "larkmoor").has_value());
}

TEST(TrayWords, FindsTheRowThatIsMeant) {
    const auto item = itemWith(":1.1", "larkmoor",
                               {{.id = 1, .label = "Stop"},
                                {.id = 2, .label = "Stop for good"},
                                {.id = 3, .label = "7"},
                                {.id = 7, .label = "Quit"},
                                {.id = 8, .separator = true},
                                {.id = 9, .label = "Migrate now", .visible = false},
                                {.id = 10, .label = "More", .children = {{.id = 11, .label = "Deeper"}}}});
    struct Case {
        std::string_view asked;
        std::optional<std::int32_t> want;
    };
    const Case table[] = {
        {"Stop", 1},  {"Stop for", 2},           {"Sto", std::nullopt}, {"7", 3},           {"2", 2}, {"Q", 7},
        {"Deep", 11}, {"Migrate", std::nullopt}, {"99", std::nullopt},  {"", std::nullopt},
    };
    for (const Case& test : table) {
        const auto row = findRow(item, test.asked);
        EXPECT_EQ(row.has_value(), test.want.has_value()) << test.asked;
        if (row && test.want) EXPECT_EQ(row->id, *test.want) << test.asked;
    }
}

TEST(TrayWords, TellsChangesAndNoMore) {
    const auto before = itemWith(":1.1", "larkmoor", {{.id = 1, .label = "Recording"}, {.id = 2, .label = "Quit"}});
    auto after = before;
    EXPECT_THAT(changesBetween({before}, {after}), IsEmpty());
    after.status = "NeedsAttention";
    after.rows[0].visible = false;
    std::vector<std::string> lines;
    for (const auto& change : changesBetween({before}, {after})) lines.push_back(boost::json::serialize(change));
    EXPECT_THAT(lines,
                ElementsAre(R"({"event":"changed","item":"larkmoor","status":"NeedsAttention"})",
                            R"({"event":"row","item":"larkmoor","row":{"id":1,"label":"Recording","enabled":true,)"
                            R"("visible":false,"separator":false,"indent":0,"icon":""}})"));
    EXPECT_EQ(changesBetween({}, {after})[0].at("event"), "added");
    EXPECT_EQ(changesBetween({before}, {})[0].at("event"), "removed");
}

}  // namespace
}  // namespace larkmoor::tray

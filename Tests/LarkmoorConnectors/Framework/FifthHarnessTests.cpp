// A harness that there is not, made of the framework's pieces alone: entries that stand in an event's array without
// groups, a file that begins from a seed of its own, a note, and a version in the receipt.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "LarkmoorConnectors/ConnectorHome.h"
#include "LarkmoorConnectors/Framework/BlockVerbs.h"
#include "LarkmoorConnectors/Framework/HookLayout.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;
using testing::moment;
using testing::text;
using testing::unfolded;

constexpr const char* hooksFile = ".fifth/hooks.json";
constexpr const char* receiptFile = "Library/Application Support/Larkmoor/Connectors/fifth.json";
constexpr const char* seed = "{\n  \"version\": 1\n}\n";

class FifthHarness : public ::testing::Test {
  protected:
    HookLayout layout() const {
        return {.hooksObject = Created::cursorHooksObject,
                .events = {{"before", Created::cursorEventArray}, {"after", Created::cursorPreToolEventArray}},
                .grouped = false,
                .currents = {home.hook() + " --harness fifth", home.hook() + " --harness fifth --slot after"}};
    }

    std::expected<BlockInstalled, std::string> installed(BytesView bytes) const {
        BlockInstalled result{copyBytes(bytes)};
        for (std::size_t index = 0; index < 2; ++index) {
            const JSONLiteral entry = JSONLiteral::object({{"command", layout().currents[index]}});
            auto edited = layout().append(entry, layout().events[index].name, result.bytes, result.created);
            if (!edited) return std::unexpected{edited.error().description()};
            result.bytes = std::move(*edited);
        }
        result.notes = {"a note"};
        return result;
    }

    BlockVerbs verbs() const {
        return BlockVerbs{{
            {.place = {home.path(hooksFile), "hook entry", layout().currents.front()},
             .file = Created::cursorHooksFile,
             .seed = seed,
             .find =
                 [](auto bytes) { return bytes ? BlockFinding{BlockFinding::Absent{}} : BlockFinding::FileAbsent{}; },
             .installed = [this](auto bytes) { return installed(bytes); },
             .removed = [this](auto bytes, const auto& created) { return described(layout().removed(bytes, created)); },
             .isResidue = [](auto bytes) { return asText(bytes) == seed; },
             .residueStays = "it holds no hooks and stays"},
        }};
    }

    ConnectorOutcome install() const {
        return verbs().install(home.path(".fifth"), {home.path(receiptFile)}, {moment},
                               [](ConnectorReceipt& receipt) { receipt.appVersion = "5.0"; });
    }
    ConnectorOutcome remove() const { return verbs().remove({home.path(receiptFile)}, {moment}); }

    ConnectorHome home;
};

TEST_F(FifthHarness, ConnectsAndComesBack) {
    EXPECT_EQ(home.told(install()),
              "changed\n~/.fifth/hooks.json: the Larkmoor entry was written to this file\n"
              "~/.fifth/hooks.json: a note");
    EXPECT_EQ(
        home.read(hooksFile),
        unfolded("{|  'version': 1,|  'hooks': {|    'before': [|      {|        'command': '{hook} --harness fifth'|"
                 "      }|    ],|    'after': [|      {|        'command': '{hook} --harness fifth --slot after'|"
                 "      }|    ]|  }|}|"));
    EXPECT_EQ(ReceiptStore{home.path(receiptFile)}.read(),
              (ConnectorReceipt{{Created::cursorEventArray, Created::cursorHooksFile, Created::cursorHooksObject,
                                 Created::cursorPreToolEventArray},
                                {},
                                {},
                                "5.0"}));
    EXPECT_EQ(remove().result, ConnectorOutcome::Result::changed);
    EXPECT_EQ(home.read(hooksFile), std::nullopt);
}

TEST_F(FifthHarness, AFileOfTheUsersStaysInItsOwnWords) {
    home.write(hooksFile, seed);
    ASSERT_EQ(install().result, ConnectorOutcome::Result::changed);
    const std::string told = home.told(remove());
    EXPECT_EQ(home.read(hooksFile), seed);
    EXPECT_TRUE(told.contains("~/.fifth/hooks.json: it holds no hooks and stays")) << told;
}

TEST_F(FifthHarness, EntriesWithoutGroupsAreFoundDiscardedAndRemoved) {
    const std::string file = home.filled(
        R"({"hooks":{"before":[{"command":"mine"},{"command":"{hook} --harness=fifth"},7],"x":[{"command":"{hook} --harness fifth"}]}})");
    const auto scan = JSONText::scanWithTrivia(asBytes(file), JSONDialect::strict);
    const auto sites = layout().sites(scan->root);
    ASSERT_EQ(sites.size(), 2U);
    EXPECT_EQ(sites[0], (HookSite{"before", 0, 1, home.hook() + " --harness=fifth", HookOwnership::current}));
    EXPECT_EQ(sites[1], (HookSite{"x", 0, 0, home.hook() + " --harness fifth", HookOwnership::current}));
    const auto discarded = layout().discard(sites[1], asBytes(file));
    ASSERT_TRUE(discarded);
    EXPECT_EQ(home.shown(text(*discarded)),
              R"({"hooks":{"before":[{"command":"mine"},{"command":"{hook} --harness=fifth"},7]}})");
    const auto removed = layout().removed(asBytes(file), {});
    ASSERT_TRUE(removed);
    EXPECT_EQ(text(removed->bytes), R"({"hooks":{"before":[{"command":"mine"},7],"x":[]}})");
    EXPECT_EQ(removed->leftovers,
              std::vector<std::string>{"an empty x list remains here, which Larkmoor did not create"});
    EXPECT_EQ(layout().unreadableReason(asBytes(R"({"hooks":{"x":[{"a":1,"a":2}]}})")),
              "the name \"a\" appears twice in one object (at byte 22)");
}

}  // namespace
}  // namespace larkmoor

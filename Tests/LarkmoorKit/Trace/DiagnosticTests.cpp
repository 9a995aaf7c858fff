// Lines for the daemon's log.
#include "LarkmoorKit/Trace/DiagnosticRelay.h"
#include "LarkmoorKit/Trace/DiagnosticSources.h"
#include "Support/DoorFixture.h"

namespace larkmoor::testing {
namespace {

TEST(DiagnosticSources, ReadsAWordInAnyCase) {
    struct Case {
        std::string_view text;
        std::optional<DiagnosticSource> source;
        std::string_view category;
    };
    using enum DiagnosticSource;
    const Case table[] = {
        {" MENU\n", menu, "menu"},    {"settings", settings, "settings"},
        {"Editor", editor, "editor"}, {"\tmcp ", mcp, "mcp"},
        {"CTL", ctl, "ctl"},          {"something", std::nullopt, "client"},
        {"", std::nullopt, "client"}, {"me nu", std::nullopt, "client"},

    };
    for (const Case& row : table) {
        EXPECT_EQ(DiagnosticSources::read(row.text), row.source) << row.text;
        EXPECT_EQ(DiagnosticSources::category(row.text), row.category) << row.text;
    }
}

class DiagnosticRelayTest : public XPCClientTest {};

TEST_F(DiagnosticRelayTest, NamesItsSourceAndDoesNotWait) {
    DiagnosticRelay{loop, DiagnosticSource::menu, client}.note("said “so”");
    EXPECT_TRUE(door.sent().empty());
    runReady(loop);
    ASSERT_EQ(door.sent().size(), 1U);
    EXPECT_EQ(asText(*XPCWire::data("payload", door.sent()[0].message)),
              R"({"diagnostic":{"_0":{"log":{"source":"menu","line":"said “so”"}}}})");
}

TEST_F(DiagnosticRelayTest, ALineSaidWhileTheDoorIsShutIsLost) {
    const DiagnosticRelay relay{loop, DiagnosticSource::menu, client};
    expectMessages({Fate::fails, Fate::fails});
    relay.note("lost");
    relay.note("cannot be \xff written");
    ASSERT_TRUE(runUntil(loop, [&] { return client->lastDoorFault() == DoorFault::absent; }));
    relay.note("heard");
    runReady(loop);
    ASSERT_TRUE(runUntil(loop, [&] { return client->lastDoorFault() == std::nullopt; }));
    EXPECT_TRUE(asText(*XPCWire::data("payload", door.sent().back().message)).contains("heard"));
}

TEST_F(DiagnosticRelayTest, AsksWhomeverItIsGiven) {
    std::vector<DiagnosticRequest> asked;
    const DiagnosticRelay relay{loop, DiagnosticSource::ctl,
                                [&asked](DiagnosticRequest request) -> Task<GatewayResponse> {
                                    asked.push_back(std::move(request));
                                    co_return GatewayResponse::Failure{"not looked at"};
                                }};
    relay.note("one");
    relay.note("two");
    runReady(loop);
    EXPECT_THAT(asked, ::testing::ElementsAre(DiagnosticRequest{DiagnosticRequest::Log{"ctl", "one"}},
                                              DiagnosticRequest{DiagnosticRequest::Log{"ctl", "two"}}));
}

}  // namespace
}  // namespace larkmoor::testing

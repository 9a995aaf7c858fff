#include <limits>

#include "LarkmoorUpdate/Row/UpdateMenuAnswer.h"
#include "LarkmoorUpdate/Row/UpdateMenuLine.h"

namespace larkmoor {
namespace {

using namespace UpdateMenuLine;
using Row = std::optional<State>;
constexpr auto maximum = std::numeric_limits<std::uint64_t>::max();

TEST(UpdateMenuLine, NextOfEveryStateAndEvent) {
    const Row from[] = {State::Downloading{"1", 40, 100}, State::Unpacking{"1"}, State::AfterCall{"1"},
                        State::OnQuit{"1"}, std::nullopt};
    struct Case {
        Event event;
        /// The state after it, for each of the five above: d, u, a, q for a new one, = for the same, - for none.
        std::string_view next;
    };
    for (const auto& [event, next] :
         {Case{Event::DownloadStarted{"2"}, "ddddd"}, Case{Event::ExpectedLength{90}, "x===="},
          Case{Event::Received{7}, "r===="}, Case{Event::Unpacking{"2"}, "uuuuu"},
          Case{Event::GateWaiting{"2"}, "aaaaa"}, Case{Event::ChoseInstallOnQuit{"2"}, "qqqqq"},
          Case{Event::GateDoorSilent{}, "---=-"}, Case{Event::HandedToSparkle{}, "-----"},
          Case{Event::Found{}, "===--"}, Case{Event::SessionEnded{}, "--==-"}, Case{Event::Rebuilt{}, "---=-"}}) {
        for (std::size_t i = 0; i < std::size(from); ++i) {
            const char want = next[i];
            const Row wanted = want == 'd'   ? Row{State::Downloading{"2"}}
                               : want == 'x' ? Row{State::Downloading{"1", 40, 90}}
                               : want == 'r' ? Row{State::Downloading{"1", 47, 100}}
                               : want == 'u' ? Row{State::Unpacking{"2"}}
                               : want == 'a' ? Row{State::AfterCall{"2"}}
                               : want == 'q' ? Row{State::OnQuit{"2"}}
                               : want == '=' ? from[i]
                                             : std::nullopt;
            EXPECT_EQ(UpdateMenuLine::next(from[i], event), wanted) << next << " " << i;
        }
    }
    EXPECT_EQ(next(State::Downloading{"1", maximum - 1}, Event::Received{2}), Row(State::Downloading{"1", maximum}));
    EXPECT_EQ(next(next(State::Downloading{"1"}, Event::Received{9}), Event::ExpectedLength{18}),
              Row(State::Downloading{"1", 9, 18}));
}

TEST(UpdateMenuLine, Lines) {
    const Bar none = RowProgresses::None{};
    const Bar indeterminate = RowProgresses::Indeterminate{};
    const auto fill = [](double value) { return Bar{RowProgresses::Fill{value}}; };
    struct Case {
        Row row;
        Line line;
    };
    for (const auto& [row, line] : {
             Case{State::Downloading{"1.2"}, {"Downloading 1.2…", indeterminate}},
             Case{State::Downloading{"1.2", 5, 0}, {"Downloading 1.2…", indeterminate}},
             Case{State::Downloading{"1.2", 40, 100}, {"Downloading 1.2, 40%", fill(0.4)}},
             Case{State::Downloading{"1.2", 1999, 2000}, {"Downloading 1.2, 99%", fill(0.99)}},
             Case{State::Downloading{"1.2", 7, 3}, {"Downloading 1.2, 100%", fill(1)}},
             Case{State::Downloading{"1.2", maximum / 100, maximum}, {"Downloading 1.2, 0%", fill(0)}},
             Case{State::Downloading{"1.2", maximum / 100 + 1, maximum}, {"Downloading 1.2, 100%", fill(1)}},
             Case{State::Unpacking{"1.2"}, {"Unpacking 1.2…", none}},
             Case{State::AfterCall{"1.2"}, {"1.2 ready, installs after your call", none, Click::installNow}},
             Case{State::OnQuit{"1.2"}, {"1.2 ready, installs when you quit", none, Click::installNow}},
         }) {
        EXPECT_EQ(UpdateMenuLine::line(row), line);
    }
    for (const Row& blank : {Row{}, Row{State::Downloading{" \n"}}, Row{State::Unpacking{""}},
                             Row{State::AfterCall{"\t"}}, Row{State::OnQuit{" "}}}) {
        EXPECT_EQ(UpdateMenuLine::line(blank), std::nullopt);
    }
    EXPECT_EQ(preview("downloading-silent", false), Row(State::Downloading{"9.9.9"}));
    EXPECT_EQ(preview("after-call", false), Row(State::AfterCall{"9.9.9"}));
    EXPECT_EQ(preview("after-call", true), std::nullopt);
    EXPECT_EQ(preview("afterCall", false), std::nullopt);
}

TEST(UpdateMenuAnswer, NamesNoVersionThatIsBlank) {
    EXPECT_EQ(UpdateMenuAnswer{UpdateMenuAnswer::UpToDate{" "}}.sentence(), "You're up to date");
}

}  // namespace
}  // namespace larkmoor

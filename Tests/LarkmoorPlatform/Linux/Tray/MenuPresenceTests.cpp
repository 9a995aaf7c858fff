// When a menu counts as open, from the little that hosts tell.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LarkmoorPlatform/Linux/Tray/MenuPresence.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using Step = MenuPresence::Step;
using Time = MenuPresence::Time;

/// In the order of the steps.
constexpr std::string_view names[] = {".", "opened", "closed", "opened again"};

TEST(MenuPresence, FollowsEachHostsManner) {
    struct Word {
        std::chrono::milliseconds at;
        char what;  ///< 'a'bout to show, 'o'pened, 'c'losed or clicked, 'h'eard, 'w'aited
    };
    struct Case {
        std::string_view host;
        std::vector<Word> words;
        std::vector<std::string_view> want;
    };
    const Case table[] = {
        {"tells all", {{0ms, 'a'}, {10ms, 'o'}, {5s, 'c'}}, {"opened", ".", "closed"}},
        {"tells the opening by its event alone", {{0ms, 'o'}, {5s, 'c'}}, {"opened", "closed"}},
        {"closes twice", {{0ms, 'a'}, {1ms, 'c'}, {2ms, 'c'}}, {"opened", "closed", "."}},
        {"never says that it closed", {{0ms, 'a'}, {19999ms, 'w'}, {20s, 'w'}}, {"opened", ".", "closed"}},
        {"speaks while it is open", {{0ms, 'a'}, {15s, 'h'}, {30s, 'w'}, {35s, 'w'}}, {"opened", ".", ".", "closed"}},
        {"opens once more, the closing untold",
         {{0ms, 'a'}, {3s, 'a'}, {23s, 'w'}},
         {"opened", "opened again", "closed"}},
        {"asks twice at one opening", {{0ms, 'a'}, {999ms, 'a'}, {1s, 'a'}}, {"opened", ".", "opened again"}},
        {"says opened late", {{0ms, 'a'}, {2s, 'o'}, {21s, 'w'}, {22s, 'w'}}, {"opened", ".", ".", "closed"}},
        {"speaks of a closed menu", {{0ms, 'h'}, {1s, 'w'}, {30s, 'w'}}, {".", ".", "."}},
    };
    for (const Case& test : table) {
        MenuPresence presence;
        std::vector<std::string_view> steps;
        for (const Word& word : test.words) {
            const Time now = Time{} + 1h + word.at;
            const bool wasOpen = presence.isOpen();
            if (word.what == 'h') presence.heard(now);
            const Step step = word.what == 'a'   ? presence.aboutToShow(now)
                              : word.what == 'o' ? presence.opened(now)
                              : word.what == 'c' ? presence.closed()
                              : word.what == 'w' ? presence.waited(now)
                                                 : Step::nothing;
            steps.push_back(names[static_cast<std::size_t>(step)]);
            EXPECT_EQ(presence.isOpen(), step == Step::nothing ? wasOpen : step != Step::closed) << test.host;
            EXPECT_EQ(presence.deadline().has_value(), presence.isOpen()) << "nothing wakes up for a closed menu";
        }
        EXPECT_EQ(steps, test.want) << test.host;
    }
}

}  // namespace
}  // namespace larkmoor

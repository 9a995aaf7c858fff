// When a menu counts as open, from the events that hosts send.
#include "LarkmoorPlatform/Linux/Tray/MenuPresence.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using Step = MenuPresence::Step;
using Time = MenuPresence::Time;

/// In the order of the steps.
constexpr std::string_view names[] = {".", "opened", "closed", "opened again"};

TEST(MenuPresence, FollowsEachKindOfHost) {
    struct Event {
        std::chrono::milliseconds at;
        char kind;  ///< 'a'bout to show, 'o'pened, 'c'losed or clicked, 'k'ept open by the mouse over a row, 'e'xpire
    };
    struct Case {
        std::string_view host;
        std::vector<Event> events;
        std::vector<std::string_view> want;
    };
    const Case table[] = {
        {"reports everything, twice",
         {{0ms, 'a'}, {10ms, 'o'}, {5s, 'c'}, {6s, 'a'}, {6s, 'o'}, {9s, 'c'}},
         {"opened", ".", "closed", "opened", ".", "closed"}},
        {"reports the opening by its event alone", {{0ms, 'o'}, {5s, 'c'}}, {"opened", "closed"}},
        {"closes twice", {{0ms, 'a'}, {1ms, 'c'}, {2ms, 'c'}}, {"opened", "closed", "."}},
        {"never reports the closing",
         {{0ms, 'a'}, {19999ms, 'e'}, {20s, 'e'}, {21s, 'a'}, {40999ms, 'e'}, {41s, 'e'}},
         {"opened", ".", "closed", "opened", ".", "closed"}},
        {"sends events while it is open",
         {{0ms, 'a'}, {15s, 'k'}, {30s, 'e'}, {35s, 'e'}},
         {"opened", ".", ".", "closed"}},
        {"opens once more after an unreported closing",
         {{0ms, 'a'}, {3s, 'a'}, {3500ms, 'a'}, {23s, 'e'}, {23500ms, 'e'}},
         {"opened", "opened again", ".", ".", "closed"}},
        {"asks twice at one opening", {{0ms, 'a'}, {999ms, 'a'}, {1s, 'a'}}, {"opened", ".", "opened again"}},
        {"reports the opening late", {{0ms, 'a'}, {2s, 'o'}, {21s, 'e'}, {22s, 'e'}}, {"opened", ".", ".", "closed"}},
        {"sends events of a closed menu", {{0ms, 'k'}, {1s, 'e'}, {30s, 'e'}}, {".", ".", "."}},
    };
    for (const Case& test : table) {
        MenuPresence presence;
        std::vector<std::string_view> steps;
        for (const Event& event : test.events) {
            const Time now = Time{} + 1h + event.at;
            const bool wasOpen = presence.isOpen();
            const Step step = event.kind == 'a'   ? presence.aboutToShow(now)
                              : event.kind == 'o' ? presence.event("opened", true, now)
                              : event.kind == 'c' ? presence.event("closed", true, now)
                              : event.kind == 'k' ? presence.event("hovered", false, now)
                              : event.kind == 'e' ? presence.expire(now)
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

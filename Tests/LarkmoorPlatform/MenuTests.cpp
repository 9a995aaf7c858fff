// The menu as a model: what its delegate and its observer hear, and what a click does.
#include "LarkmoorPlatform/Menu.h"

namespace larkmoor {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MenuTest : public ::testing::Test, protected MenuDelegate, protected MenuObserver {
  protected:
    MenuTest() {
        menu.setDelegate(this);
        menu.setObserver(this);
    }
    void menuWillOpen() override { heard.emplace_back("will open"); }
    void menuDidClose() override { heard.emplace_back("did close"); }
    bool validateMenuItem(const MenuRow& asked) override { return asked.title() != forbidden; }
    void rowChanged(const MenuRow& changed) override { heard.push_back("changed " + changed.title()); }
    std::vector<std::string> heardOf(const std::function<void()>& act) {
        heard.clear();
        act();
        return heard;
    }
    MenuRow::Action action = [this] { heard.emplace_back("action"); };

    std::vector<std::string> heard;
    std::string forbidden;
    std::shared_ptr<MenuRow> row = MenuRow::make({.title = "Stop", .action = action});
    Menu menu{{row, MenuRow::separator()}};
};

TEST_F(MenuTest, OnlyARealChangeIsTold) {
    using namespace RowImages;
    const std::pair<std::function<void()>, std::function<void()>> changes[] = {
        {[&] { row->setTitle("Stop "); }, [&] { row->setTitle("Stop"); }},
        {[&] { row->setHidden(true); }, [&] { row->setHidden(false); }},
        {[&] { row->setEnabled(false); }, [&] { row->setEnabled(true); }},
        {[&] { row->setImage(Symbol{"gearshape.fill"}); }, [&] { row->setImage(Symbol{"chart.bar.xaxis"}); }},
        {[&] { row->setImage(RecordingDot{}); }, [&] { row->setImage(RowImages::None{}); }},
        {[&] { row->setProgress(RowProgresses::Fill{0.5}); }, [&] { row->setProgress(RowProgresses::Fill{1}); }},
        {[&] { row->setProgress(RowProgresses::Indeterminate{}); }, [&] { row->setProgress(RowProgresses::None{}); }},
        {[&] { row->setAction({}); }, [&] { row->setAction([] {}); }},
    };
    for (const auto& [there, back] : changes) {
        for (const auto& change : {there, back}) {
            EXPECT_EQ(heardOf(change).size(), 1U);
            EXPECT_THAT(heardOf(change), IsEmpty()) << "the same again";
        }
    }
}

TEST_F(MenuTest, ARowOutlivesItsMenuQuietly) {
    auto kept = MenuRow::make({.title = "kept"});
    {
        Menu gone{{kept}};
        gone.setObserver(this);
    }
    EXPECT_THAT(heardOf([&] { kept->setTitle("still here"); }), IsEmpty());
}

TEST_F(MenuTest, AClickClosesTheMenuAndRunsTheActionOfARowThatAllowsIt) {
    const std::tuple<std::string_view, std::function<void()>, std::function<void()>> table[] = {
        {"disabled", [&] { row->setEnabled(false); }, [&] { row->setEnabled(true); }},
        {"hidden", [&] { row->setHidden(true); }, [&] { row->setHidden(false); }},
        {"no action", [&] { row->setAction({}); }, [&] { row->setAction(action); }},
        {"the delegate says no", [&] { forbidden = "Stop"; }, [&] { forbidden.clear(); }},
    };
    for (const auto& [name, prepare, undo] : table) {
        prepare();
        EXPECT_THAT(heardOf([&] { menu.open(), menu.open(); }), ElementsAre("will open"));
        EXPECT_THAT(heardOf([&] { EXPECT_FALSE(menu.click(*row)); }), ElementsAre("did close")) << name;
        undo();
        menu.open();
        EXPECT_THAT(heardOf([&] { EXPECT_TRUE(menu.click(*row)); }), ElementsAre("did close", "action")) << name;
    }
    EXPECT_FALSE(menu.click(*menu.rows()[1])) << "a separator";
    row->setAction([this] { row->setAction({}), heard.emplace_back("replaced"); });
    EXPECT_THAT(heardOf([&] { menu.click(*row); }), ElementsAre("changed Stop", "replaced"));
}

}  // namespace
}  // namespace larkmoor

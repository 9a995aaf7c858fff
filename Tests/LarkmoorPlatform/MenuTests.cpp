// The menu as a model: what its delegate and its observer hear, and what a click does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LarkmoorPlatform/Menu.h"
#include "LarkmoorPlatform/MenuDelegate.h"
#include "LarkmoorPlatform/MenuObserver.h"

namespace larkmoor {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Listener : MenuDelegate, MenuObserver {
    void menuWillOpen() override { heard.push_back("will open"); }
    void menuDidClose() override { heard.push_back("did close"); }
    bool validateMenuItem(const MenuRow& row) override { return row.title() != forbidden; }
    void rowChanged(const MenuRow& row) override { heard.push_back("changed " + row.title()); }

    std::vector<std::string> heard;
    std::string forbidden;
};

class MenuTest : public ::testing::Test {
  protected:
    MenuTest() {
        menu.setDelegate(&listener);
        menu.setObserver(&listener);
    }

    Listener listener;
    std::shared_ptr<MenuRow> row =
        MenuRow::make({.title = "Stop", .action = [this] { listener.heard.push_back("action"); }});
    Menu menu{{row, MenuRow::separator()}};
};

TEST_F(MenuTest, OnlyARealChangeIsTold) {
    row->setTitle("Stop");
    row->setHidden(false);
    row->setEnabled(true);
    row->setImage(RowImages::None{});
    row->setProgress(RowProgresses::None{});
    row->setAction([] {});
    EXPECT_THAT(listener.heard, IsEmpty());

    row->setImage(RowImages::Symbol{"gearshape.fill"});
    row->setImage(RowImages::Symbol{"gearshape.fill"});
    row->setImage(RowImages::Symbol{"chart.bar.xaxis"});
    row->setProgress(RowProgresses::Fraction{0.5});
    row->setAction({});
    row->setTitle("Go");
    EXPECT_THAT(listener.heard,
                ElementsAre("changed Stop", "changed Stop", "changed Stop", "changed Stop", "changed Go"));
}

TEST_F(MenuTest, ARowOutlivesItsMenuQuietly) {
    auto kept = MenuRow::make({.title = "kept"});
    {
        const Menu gone{{kept}};
    }
    kept->setTitle("still here");
    EXPECT_THAT(listener.heard, IsEmpty());
}

TEST_F(MenuTest, AnActionMayReplaceItself) {
    row->setAction([this] {
        row->setAction({});
        listener.heard.push_back("replaced");
    });
    EXPECT_TRUE(menu.click(*row));
    EXPECT_FALSE(row->hasAction());
}

TEST_F(MenuTest, ClicksThatDoNothing) {
    struct Case {
        std::string_view name;
        std::function<void()> prepare;
    };
    const Case table[] = {
        {"disabled", [this] { row->setEnabled(false); }},
        {"hidden", [this] { row->setHidden(true); }},
        {"no action", [this] { row->setAction({}); }},
        {"the delegate says no", [this] { listener.forbidden = "Stop"; }},
    };
    for (const Case& test : table) {
        row->setEnabled(true);
        row->setHidden(false);
        row->setAction([this] { listener.heard.push_back("action"); });
        listener.forbidden.clear();
        ASSERT_TRUE(menu.isClickable(*row));
        test.prepare();
        menu.open();
        listener.heard.clear();
        EXPECT_FALSE(menu.click(*row)) << test.name;
        EXPECT_THAT(listener.heard, ElementsAre("did close")) << test.name;
    }
    EXPECT_FALSE(menu.click(*menu.rows()[1])) << "a separator";
}

}  // namespace
}  // namespace larkmoor

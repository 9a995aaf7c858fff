// The menu on a real bus, as different hosts use it.
#include "LarkmoorPlatform/Linux/Tray/DbusMenu.h"

#include "LarkmoorPlatform/Linux/Tray/TrayFixture.h"
#include "TrayView.h"

namespace larkmoor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::IsEmpty;

class DbusMenuTest : public TrayFixture, protected MenuDelegate {
  protected:
    DbusMenuTest() { give(rows); }
    ~DbusMenuTest() override { menu->setDelegate(nullptr); }

    void give(const Menu::Rows& given) {
        menu = std::make_shared<Menu>(given);
        menu->setDelegate(this);
        shown.setMenu(menu);
    }

    void menuWillOpen() override {
        happened.push_back("will open");
        onOpening();
    }
    void menuDidClose() override { happened.push_back("did close"); }
    bool validateMenuItem(const MenuRow& row) override { return row.title() != forbidden; }

    template <class Fill>
    BusResult askMenu(const std::string& member, Fill&& fill) {
        return ask("/MenuBar", menuInterface, member, std::forward<Fill>(fill));
    }

    BusResult layout(std::int32_t parent = 0, std::int32_t depth = -1) {
        return askMenu("GetLayout", [&](BusWriter& writer) { writer.int32(parent).int32(depth).array("s", [] {}); });
    }
    std::vector<tray::RowView> look() {
        const BusResult reply = layout();
        return reply ? tray::readLayout(*reply) : std::vector<tray::RowView>{};
    }

    /// Event as one kind of host sends it.
    BusResult event(std::int32_t id, const std::string& name) {
        return askMenu("Event", [&](BusWriter& writer) {
            writer.int32(id).text(name).variant("s", [&] { writer.text(""); }).uint32(0);
        });
    }
    /// EventGroup as another kind does; the ids that the menu did not know.
    std::expected<std::vector<std::int32_t>, BusError> events(const std::vector<std::int32_t>& ids,
                                                              const std::string& name) {
        return idsOf(askMenu("EventGroup", [&](BusWriter& writer) {
            writer.array("(isvu)", [&] {
                for (const std::int32_t id : ids)
                    writer.structure(
                        "isvu", [&] { writer.int32(id).text(name).variant("i", [&] { writer.int32(0); }).uint32(0); });
            });
        }));
    }
    std::expected<std::vector<std::int32_t>, BusError> aboutToShowGroup(const std::vector<std::int32_t>& ids) {
        return idsOf(askMenu("AboutToShowGroup",
                             [&](BusWriter& writer) {
                                 writer.array("i", [&] {
                                     for (const std::int32_t id : ids) writer.int32(id);
                                 });
                             }),
                     1);
    }
    BusResult aboutToShow(std::int32_t id = 0) {
        return askMenu("AboutToShow", [&](BusWriter& writer) { writer.int32(id); });
    }

    std::vector<std::string> happened;
    std::string forbidden;
    std::function<void()> onOpening = [] {};
    std::shared_ptr<MenuRow> status = MenuRow::make({.title = "Recording", .image = RowImages::RecordingDot{}});
    std::shared_ptr<MenuRow> stop =
        MenuRow::make({.title = "• Stop", .action = [this] { happened.push_back("stop"); }, .indent = 1});
    std::shared_ptr<MenuRow> hidden = MenuRow::make({.title = "Migrate now", .action = [] {}, .hidden = true});
    Menu::Rows rows{status, MenuRow::separator(), stop, hidden};
    std::shared_ptr<Menu> menu;
    DbusMenu shown{loop, itemBus, "/MenuBar"};

  private:
    /// The list of ids after `skip` other values.
    static std::expected<std::vector<std::int32_t>, BusError> idsOf(const BusResult& reply, int skip = 0) {
        if (!reply) return std::unexpected(reply.error());
        BusReader reader{*reply};
        while (skip-- > 0) reader.skip();
        std::vector<std::int32_t> ids;
        reader.array("i", [&] { ids.push_back(reader.int32()); });
        return ids;
    }
};

TEST_F(DbusMenuTest, GivesTheWholeMenuToTheDepthThatIsAskedFor) {
    const std::vector<tray::RowView> seen = look();
    ASSERT_EQ(seen.size(), 4U);
    EXPECT_EQ(seen[0], (tray::RowView{.id = 1, .label = "Recording", .enabled = false, .icon = "recordingDot"}));
    EXPECT_EQ(seen[1], (tray::RowView{.id = 2, .label = "", .separator = true}));
    EXPECT_EQ(seen[2], (tray::RowView{.id = 3, .label = "• Stop", .indent = 1}));
    EXPECT_EQ(seen[3], (tray::RowView{.id = 4, .label = "Migrate now", .visible = false}));
    forbidden = "• Stop";
    status->setTitle("invalid \xff\xc3 text");
    EXPECT_FALSE(look()[2].enabled);
    EXPECT_EQ(look()[0].label, "invalid \uFFFD\uFFFD text") << "the bus would refuse the whole message";
    EXPECT_EQ(tray::readLayout(*layout(0, 1)).size(), 4U);
    EXPECT_THAT(tray::readLayout(*layout(0, 0)), IsEmpty());
    EXPECT_THAT(tray::readLayout(*layout(3, -1)), IsEmpty());
}

TEST_F(DbusMenuTest, UnknownRowsAreErrorsUnlessSomeOfTheGroupAreKnown) {
    for (const std::int32_t id : {99, 5, -1, std::numeric_limits<std::int32_t>::min()})
        EXPECT_FALSE(layout(id).has_value()) << id;
    EXPECT_FALSE(event(99, "clicked").has_value());
    EXPECT_FALSE(aboutToShow(99).has_value());
    EXPECT_THAT(events({3, 98, 99}, "hovered").value(), ElementsAre(98, 99));
    EXPECT_THAT(events({3}, "hovered").value(), IsEmpty());
    EXPECT_FALSE(events({98, 99}, "hovered").has_value());
    EXPECT_THAT(aboutToShowGroup({0, 99}).value(), ElementsAre(99));
    EXPECT_FALSE(aboutToShowGroup({99}).has_value());
}

TEST_F(DbusMenuTest, AClickClosesTheMenuAndReachesItsAction) {
    // Once more each time, by the manners of different hosts.
    for (int turn = 1; turn <= 3; ++turn) {
        happened.clear();
        ASSERT_TRUE(turn == 2 ? aboutToShow().has_value() : event(0, "opened").has_value());
        EXPECT_THAT(happened, ElementsAre("will open"));
        ASSERT_TRUE(turn == 3 ? events({3}, "clicked").has_value() : event(3, "clicked").has_value());
        settle();
        EXPECT_THAT(happened, ElementsAre("will open", "did close", "stop")) << turn;
    }
    ASSERT_TRUE(event(3, "clicked").has_value());
    settle();
    EXPECT_EQ(happened.back(), "stop");
    EXPECT_EQ(happened.size(), 4U) << "it was closed already";
    for (const std::int32_t off : {1, 2}) ASSERT_TRUE(event(off, "clicked").has_value());
    ASSERT_TRUE(event(0, "closed").has_value());
    settle();
    EXPECT_EQ(happened.size(), 4U) << "rows without an action, and a closed menu";
}

TEST_F(DbusMenuTest, WhatTheOpeningChangesIsSignalledBeforeTheReply) {
    follow(menuInterface);
    onOpening = [&] { hidden->setHidden(false); };
    const BusMessage call = hostBus.methodCall(itemBus.uniqueName(), "/MenuBar", menuInterface, "AboutToShow");
    BusWriter{call}.int32(0);
    const BusSlot asking = hostBus.call(call, [this](const BusResult& reply) {
        ASSERT_TRUE(reply.has_value());
        EXPECT_FALSE(BusReader{*reply}.boolean()) << "the rows are the same, their properties are not";
        heard.push_back("reply");
    });
    EXPECT_THAT(takeHeard(), ElementsAre("ItemsPropertiesUpdated", "reply"));
    EXPECT_TRUE(look()[3].visible);
}

TEST_F(DbusMenuTest, ChangesOfOneTurnAreOneSignalAndNoNewLayout) {
    follow(menuInterface);
    status->setTitle("Paused");
    status->setImage(RowImages::None{});
    hidden->setHidden(false);
    EXPECT_THAT(takeHeard(), ElementsAre("ItemsPropertiesUpdated"));
    status->setTitle("Recording");
    status->setTitle("Paused");
    EXPECT_THAT(takeHeard(), IsEmpty()) << "nothing is new";
}

TEST_F(DbusMenuTest, AnotherMenuIsAnotherLayout) {
    const auto revision = [&] {
        const BusResult reply = layout();
        return BusReader{*reply}.uint32();
    };
    const std::uint32_t before = revision();
    follow(menuInterface);
    ASSERT_TRUE(event(0, "opened").has_value());
    give({MenuRow::make({.title = "Quit"})});
    EXPECT_THAT(takeHeard(), ElementsAre("LayoutUpdated"));
    EXPECT_THAT(revision(), Gt(before));
    ASSERT_EQ(look().size(), 1U);
    EXPECT_EQ(look()[0].id, 5) << "no id is used again";
    EXPECT_THAT(happened, ElementsAre("will open", "did close"));
    status->setTitle("no longer shown");
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(DbusMenuTest, ABarOfUnknownLengthMovesWhileTheMenuIsOpen) {
    status->setProgress(RowProgresses::Indeterminate{});
    follow(menuInterface);
    static_cast<void>(takeHeard());
    ASSERT_TRUE(event(0, "opened").has_value());
    EXPECT_TRUE(runUntil(loop, [&] { return heard.size() >= 2; }));
    const std::string moved = look()[0].label;
    ASSERT_TRUE(event(0, "closed").has_value());
    EXPECT_EQ(look()[0].label, moved) << "it rests where it is";
}

TEST_F(DbusMenuTest, AMenuOutlivesWhatShowedIt) {
    auto second = std::make_unique<DbusMenu>(loop, itemBus, "/AnotherMenu");
    second->setMenu(menu);
    status->setTitle("a refresh is due");
    second.reset();
    status->setTitle("and nobody there");
    settle();
}

}  // namespace
}  // namespace larkmoor::testing

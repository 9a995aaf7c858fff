// The status item on a real bus, as watchers and hosts use it.
#include "LarkmoorPlatform/Linux/Tray/StatusNotifierItem.h"

#include "LarkmoorPlatform/Linux/Tray/TrayFixture.h"
#include "LarkmoorPlatform/Linux/Tray/TrayImages.h"
#include "TrayView.h"

namespace larkmoor::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
constexpr StatusIcon icons[] = {StatusIcon::trailFilled, StatusIcon::trailHollow, StatusIcon::attention};

TEST(StatusAppearance, AHostThatReadsAgainWhatIsSignalledIsUpToDate) {
    std::vector<StatusAppearance> states;
    for (const StatusIcon icon : icons)
        for (const char* label : {"Larkmoor — recording", "Larkmoor — <b> & so on", "Larkmoor — not running"})
            states.push_back(StatusAppearance::of(icon, label));
    for (const StatusAppearance& before : states) {
        for (const StatusAppearance& after : states) {
            SCOPED_TRACE(before.iconName + before.label + " -> " + after.iconName + after.label);
            const auto signals = signalsBetween(before, after);
            const auto isSignalled = [&](std::string_view name) { return std::ranges::count(signals, name) == 1; };
            StatusAppearance host = before;
            if (isSignalled("NewIcon")) host.iconName = after.iconName, host.label = after.label;
            if (isSignalled("NewStatus")) host.status = after.status;
            if (isSignalled("NewTitle") && isSignalled("NewToolTip")) host.headline = after.headline;
            EXPECT_EQ(host, after);
            EXPECT_EQ(signals.empty(), before == after);
            // Some hosts repaint for NewIcon alone, and some have an icon of its own for attention.
            if (before.status != after.status) EXPECT_TRUE(isSignalled("NewIcon"));
            if (after.status == "NeedsAttention") EXPECT_EQ(isSignalled("NewAttentionIcon"), before != after);
        }
    }
}

TEST(TrayDialect, IsThatOfTheDesktop) {
    struct Case {
        std::string_view desktop, scale;
        bool ownIcons;
        int rowImagePixels;
        bool blankLostImages;
    };
    const Case table[] = {{"", "", true, 32, false},      {"ubuntu:GNOME", "2", true, 32, true},
                          {"MATE", "", true, 16, false},  {"MATE", "1.5", true, 16, false},
                          {"MATE", "2", true, 32, false}, {"X-Cinnamon", "", false, 32, false}};
    for (const Case& test : table) {
        const TrayDialect dialect = TrayDialect::of(test.desktop, test.scale);
        EXPECT_EQ(dialect.rowImagePixels, test.rowImagePixels) << test.desktop;
        EXPECT_EQ(dialect.ownIcons, test.ownIcons) << test.desktop;
        EXPECT_EQ(dialect.blankLostImages, test.blankLostImages) << test.desktop;
    }
}

TEST(TrayImages, EveryGlyphAndRowImageIsThere) {
    for (const StatusIcon icon : icons) {
        const auto file = std::filesystem::path{LARKMOOR_TEST_DATA} / "../../Packaging/icons/hicolor/scalable/status" /
                          (std::string{iconName(icon)} + ".svg");
        EXPECT_TRUE(std::filesystem::is_regular_file(file)) << file;
        std::vector<int> sides;
        for (const Pixmap& pixmap : glyphPixmaps(icon)) {
            sides.push_back(pixmap.side);
            ASSERT_EQ(pixmap.pixels.size(), static_cast<std::size_t>(4 * pixmap.side * pixmap.side));
            std::size_t opaque = 0;
            for (std::size_t alpha = 0; alpha < pixmap.pixels.size(); alpha += 4)
                opaque += pixmap.pixels[alpha] >= std::byte{0x80} ? 1 : 0;
            EXPECT_GT(opaque, pixmap.pixels.size() / 4 / 20) << file << " at " << pixmap.side;
            EXPECT_EQ(pixmap.pixels.front(), std::byte{0}) << "the corner is transparent";
        }
        EXPECT_THAT(sides, ElementsAre(16, 24, 32, 48));
    }
    const RowImage images[] = {RowImages::RecordingDot{},
                               RowImages::PausedRing{},
                               RowImages::PebbleIcon{},
                               RowImages::Symbol{"chart.bar.xaxis"},
                               RowImages::Symbol{"gearshape.fill"},
                               RowImages::Symbol{"arrow.down.circle"}};
    std::vector<BytesView> drawn;
    for (const int pixels : {16, 32}) {
        drawn.push_back(transparentPng(pixels));
        for (const RowImage& image : images) drawn.push_back(menuImagePng(image, pixels));
    }
    std::vector<const std::byte*> seen;
    for (std::size_t nth = 0; nth < drawn.size(); ++nth) {
        const BytesView image = drawn[nth];
        const std::string_view png = asText(image);
        ASSERT_TRUE(png.starts_with("\x89PNG\r\n")) << nth;
        const char pixels = nth < drawn.size() / 2 ? 16 : 32;
        EXPECT_EQ(png.substr(16, 8), (std::string{0, 0, 0, pixels, 0, 0, 0, pixels})) << nth;
        EXPECT_THAT(seen, Not(Contains(image.data())));
        seen.push_back(image.data());
    }
    EXPECT_TRUE(menuImagePng(RowImages::None{}, 32).empty());
    EXPECT_TRUE(menuImagePng(RowImages::Symbol{"no.such.symbol"}, 32).empty());
}

/// Records the items that register. Owns the watcher's name as some panels do: replaceable, and replacing another.
class RecordingWatcher {
  public:
    explicit RecordingWatcher(MainLoop& loop, const std::string& address)
        : bus_(loop, address), object_(bus_.addObject("/StatusNotifierWatcher", watcherName, table, this)) {
        constexpr std::uint32_t allowReplacement = 1, replaceExisting = 2;
        const BusMessage call =
            bus_.methodCall("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName");
        BusWriter{call}.text(watcherName).uint32(allowReplacement | replaceExisting);
        bus_.send(call);
    }

    std::vector<std::string> registered;
    /// Called before the item gets its reply.
    std::function<void(const std::string& item)> onRegister = [](const std::string&) {};

  private:
    static int registerItem(sd_bus_message* message, void* self, sd_bus_error*) {
        auto& watcher = *static_cast<RecordingWatcher*>(self);
        watcher.registered.emplace_back(BusReader{message}.text());
        watcher.onRegister(watcher.registered.back());
        return sd_bus_reply_method_return(message, "");
    }

    static const sd_bus_vtable table[];

    SessionBus bus_;
    BusSlot object_;
};

const sd_bus_vtable RecordingWatcher::table[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("RegisterStatusNotifierItem", "s", "", &RecordingWatcher::registerItem, 0),
    SD_BUS_VTABLE_END};

class StatusNotifierItemTest : public TrayFixture {
  protected:
    bool isRegistered(const RecordingWatcher& watcher) {
        return runUntil(loop, [&] { return !watcher.registered.empty(); });
    }
    template <class Fill>
    BusResult askItem(const char* interface, const std::string& member, Fill&& fill) {
        return ask("/org/ayatana/NotificationItem/larkmoor", interface, member, std::forward<Fill>(fill));
    }
    tray::ItemView view() {
        tray::ItemView view;
        if (const auto all = askItem(propertiesInterface, "GetAll", [](auto& out) { out.text(itemInterface); }))
            tray::readItem(*all, view);
        return view;
    }

    StatusNotifierItem item{loop, itemBus, {.title = "Larkmoor", .iconThemePath = "/bundle/icons"}};
};

TEST_F(StatusNotifierItemTest, RegistersWithEachWatcherOnceItCanAnswer) {
    std::optional<RecordingWatcher> first{std::in_place, loop, daemon.address()};
    std::string menuSeen = "not asked";
    BusSlot asking;
    first->onRegister = [&](const std::string& service) {
        EXPECT_EQ(service.front(), '/') << "the sender's";
        const BusMessage call = hostBus.methodCall(itemBus.uniqueName(), "/MenuBar", menuInterface, "GetLayout");
        BusWriter{call}.int32(0).int32(-1).array("s", [] {});
        asking = hostBus.call(call, [&](BusResult reply) { menuSeen = reply ? "there" : reply.error().name; });
    };
    ASSERT_TRUE(isRegistered(*first));
    EXPECT_THAT(first->registered, ElementsAre("/org/ayatana/NotificationItem/larkmoor"));
    ASSERT_TRUE(runUntil(loop, [&] { return menuSeen != "not asked"; }));
    EXPECT_EQ(menuSeen, "there");
    // It replaces the first, so that the name always has an owner.
    RecordingWatcher second{loop, daemon.address()};
    ASSERT_TRUE(isRegistered(second));
    first.reset();
    RecordingWatcher third{loop, daemon.address()};
    EXPECT_TRUE(isRegistered(third));
}

TEST_F(StatusNotifierItemTest, CostsNothingWithoutAWatcher) {
    settle();
    loop.restart();
    EXPECT_EQ(loop.run_for(std::chrono::milliseconds{200}), 0U) << "nothing may wake up by itself";
    EXPECT_EQ(view().id, "larkmoor");
}

TEST_F(StatusNotifierItemTest, HasTheTypesThatHostsExpectAndNoActivate) {
    const auto described = askItem("org.freedesktop.DBus.Introspectable", "Introspect", [](auto&) {});
    ASSERT_TRUE(described.has_value());
    const std::string xml{BusReader{*described}.text()};
    for (const char* property :
         {"Category\" type=\"s", "WindowId\" type=\"i", "ItemIsMenu\" type=\"b", "Menu\" type=\"o",
          "IconPixmap\" type=\"a(iiay)", "AttentionIconName\" type=\"s", "ToolTip\" type=\"(sa(iiay)ss)"})
        EXPECT_THAT(xml, HasSubstr("<property name=\"" + std::string{property}));
    EXPECT_THAT(xml, Not(HasSubstr("\"Activate\""))) << "some hosts would wait for a double click";
    for (const char* member : {"ContextMenu", "SecondaryActivate", "Scroll", "ProvideXdgActivationToken"})
        EXPECT_THAT(xml, HasSubstr(member));
}

TEST_F(StatusNotifierItemTest, EachIconInTurnIsSignalledAndRead) {
    EXPECT_EQ(view().iconThemePath, "/bundle/icons");
    EXPECT_EQ(view().menuPath, "/MenuBar");
    follow(itemInterface);
    struct Step {
        StatusIcon icon;
        std::string_view label, title, iconName, status, signals;
    };
    const std::string_view filled = "larkmoor-trail-filled-symbolic", alert = "larkmoor-attention-symbolic";
    const Step steps[] = {
        {StatusIcon::attention, "a", "a", alert, "NeedsAttention",
         "NewIcon NewAttentionIcon NewStatus NewTitle NewToolTip"},
        {StatusIcon::attention, "a", "a", alert, "NeedsAttention", ""},
        {StatusIcon::trailFilled, "a", "a", filled, "Active", "NewIcon NewStatus"},
        {StatusIcon::trailHollow, "<c> & d", "‹c› ＆ d", "larkmoor-trail-hollow-symbolic", "Active",
         "NewIcon NewTitle NewToolTip"},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(std::string{step.iconName} + " " + std::string{step.label});
        item.setIcon(step.icon, std::string{step.label});
        EXPECT_EQ(fmt::format("{}", fmt::join(takeHeard(), " ")), step.signals);
        EXPECT_EQ(view().status, step.status);
        const tray::ItemView seen = view();
        EXPECT_EQ(seen.icon, step.iconName);
        EXPECT_EQ(seen.description, step.label);
        EXPECT_EQ(seen.toolTip, step.title);
    }
}

TEST_F(StatusNotifierItemTest, KeepsTheActivationTokenForOneUse) {
    for (const char* token : {"token-1", "token-2"})
        EXPECT_TRUE(askItem(itemInterface, "ProvideXdgActivationToken", [&](auto& out) { out.text(token); }));
    EXPECT_EQ(item.takeActivationToken(), "token-2");
    EXPECT_EQ(item.takeActivationToken(), "");
}

}  // namespace
}  // namespace larkmoor::testing

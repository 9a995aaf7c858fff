// What hosts are told of the icon, and how they hear that it changed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "LarkmoorPlatform/Linux/Tray/GlyphPixmaps.h"
#include "LarkmoorPlatform/Linux/Tray/MenuImages.h"
#include "LarkmoorPlatform/Linux/Tray/StatusLook.h"

namespace larkmoor {
namespace {

using ::testing::ElementsAre;

constexpr StatusIcon icons[] = {StatusIcon::trailFilled, StatusIcon::trailHollow, StatusIcon::attention};

TEST(StatusLook, HostsHearOfEachChangeInTheWordsThatTheyFollow) {
    struct Case {
        std::string_view name;
        StatusLook before, after;
        std::string_view want;
    };
    const auto filled = StatusLook::of(StatusIcon::trailFilled, "Larkmoor — remembering this screen");
    const auto redrawn = StatusLook::of(StatusIcon::trailHollow, "Larkmoor — remembering this screen");
    const auto hollow = StatusLook::of(StatusIcon::trailHollow, "Larkmoor — not recording right now");
    const auto attention = StatusLook::of(StatusIcon::attention, "Larkmoor — attention");
    const auto notRunning = StatusLook::of(StatusIcon::attention, "Larkmoor — not running");
    const Case table[] = {
        {"the same", filled, filled, ""},
        {"another glyph and label", filled, hollow, "NewIcon NewTitle NewToolTip"},
        {"another glyph alone", filled, redrawn, "NewIcon"},
        {"into attention", filled, attention, "NewIcon NewAttentionIcon NewStatus NewTitle NewToolTip"},
        {"another reason for attention", attention, notRunning, "NewIcon NewAttentionIcon NewTitle NewToolTip"},
        {"out of attention", attention, filled, "NewIcon NewStatus NewTitle NewToolTip"},
    };
    for (const Case& row : table)
        EXPECT_EQ(fmt::format("{}", fmt::join(signalsBetween(row.before, row.after), " ")), row.want) << row.name;
}

TEST(StatusLook, EachGlyphLiesInTheIconTheme) {
    for (const StatusIcon icon : icons) {
        const auto file = std::filesystem::path{LARKMOOR_TEST_DATA} / "../../Packaging/icons/hicolor/scalable/status" /
                          (std::string{iconName(icon)} + ".svg");
        EXPECT_TRUE(std::filesystem::is_regular_file(file)) << file;
    }
}

TEST(GlyphPixmaps, AreWholeSquaresThatShowSomething) {
    for (const StatusIcon icon : icons) {
        const std::vector<Pixmap> pixmaps = glyphPixmaps(icon);
        std::vector<int> sides;
        for (const Pixmap& pixmap : pixmaps) {
            sides.push_back(pixmap.side);
            ASSERT_EQ(pixmap.pixels.size(), static_cast<std::size_t>(4 * pixmap.side * pixmap.side));
            std::size_t covered = 0;
            for (std::size_t alpha = 0; alpha < pixmap.pixels.size(); alpha += 4)
                if (pixmap.pixels[alpha] >= std::byte{0x80}) ++covered;
            EXPECT_GT(covered, pixmap.pixels.size() / 4 / 20) << iconName(icon) << " at " << pixmap.side;
            EXPECT_EQ(pixmap.pixels.front(), std::byte{0}) << "the corner is clear";
        }
        EXPECT_THAT(sides, ElementsAre(16, 24, 32, 48));
    }
}

TEST(MenuImages, EveryImageOfTheMenuHasItsOwnPicture) {
    const RowImage images[] = {RowImages::RecordingDot{},
                               RowImages::PausedRing{},
                               RowImages::PebbleIcon{},
                               RowImages::Symbol{"chart.bar.xaxis"},
                               RowImages::Symbol{"gearshape.fill"},
                               RowImages::Symbol{"arrow.down.circle"}};
    std::vector<const std::byte*> seen;
    for (const RowImage& image : images) {
        const std::string_view png = asText(MenuImages::png(image));
        EXPECT_TRUE(png.starts_with("\x89PNG\r\n")) << image.index();
        EXPECT_TRUE(png.substr(16).starts_with(std::string_view{"\0\0\0\x20\0\0\0\x20", 8})) << "32 by 32 pixels";
        EXPECT_THAT(seen, ::testing::Not(::testing::Contains(MenuImages::png(image).data())));
        seen.push_back(MenuImages::png(image).data());
    }
    EXPECT_TRUE(MenuImages::png(RowImages::None{}).empty());
    EXPECT_TRUE(MenuImages::png(RowImages::Symbol{"no.such.symbol"}).empty());
}

}  // namespace
}  // namespace larkmoor

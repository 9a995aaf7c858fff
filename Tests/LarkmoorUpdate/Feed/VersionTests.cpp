#include "LarkmoorUpdate/Feed/Version.h"

#include <random>

namespace larkmoor {

namespace {

TEST(Version, StandsInOrder) {
    // Each line is one version in several writings, and lower than the next line.
    const std::vector<std::vector<std::string_view>> ascending{
        {"a"},
        {"v0.9", "0v0.9"},
        {"", "0", "0.0", "-7", "...", "(0)"},
        {"(1)", "0 (1)"},
        {"0.9b", "0.9 b0"},
        {"1.0a1"},
        {"1.0a1.1"},
        {"1.0b", "1.0.b", "1b0", "1,0.0b00"},
        {"1.0b1rc"},
        {"1.0b1", "1b1-a5f7c21"},
        {"1.0b2"},
        {"1.0b10"},
        {"1.0rc1"},
        {"1.0", "1", "01.00", "1.0.0", "1.0-9", "1.0 (0)", "1.0 (0-3)"},
        {"1.0 (1234b1)"},
        {"1.0 (1234)", "1 (1234.0)", "1.0(1234"},
        {"1.0 (1235)"},
        {"1.0.1"},
        {"1.5.5"},
        {"1.5.6a1"},
        {"3.3 (5847)"},
        {"3.3.0.1b1"},
        {"3.3.1b1 (5902)"},
        {"18446744073709551615"},
        {"18446744073709551616", "018446744073709551616"}};
    for (std::size_t row = 0; row < ascending.size(); ++row) {
        for (std::size_t other = 0; other < ascending.size(); ++other) {
            for (const std::string_view left : ascending[row]) {
                for (const std::string_view right : ascending[other]) {
                    EXPECT_EQ(compareVersions(left, right), row <=> other) << left << " and " << right;
                }
            }
        }
    }
}

TEST(Version, IsAStrictWeakOrder) {
    std::mt19937 random{20260926};
    constexpr std::string_view pieces[] = {"0", "1", "2", "00", "10", ".", " ", "a", "b", "rc", "-", "(", ")"};
    const auto anyVersion = [&] {
        std::string text;
        for (unsigned count = random() % 7; count > 0; --count) text += pieces[random() % std::size(pieces)];
        return text;
    };
    for (int round = 0; round < 50'000; ++round) {
        const std::string a = anyVersion(), b = anyVersion(), c = anyVersion();
        const auto ab = compareVersions(a, b), bc = compareVersions(b, c), ac = compareVersions(a, c);
        ASSERT_EQ(compareVersions(a, a), std::strong_ordering::equal) << a;
        ASSERT_EQ(ab, 0 <=> compareVersions(b, a)) << a << " and " << b;
        // Below or equal is transitive, and stays strict if one of the two was.
        if (ab <= 0 && bc <= 0) ASSERT_TRUE(ab < 0 || bc < 0 ? ac < 0 : ac == 0) << a << ", " << b << ", " << c;
    }
}

}  // namespace

}  // namespace larkmoor

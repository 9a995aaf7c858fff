// The pieces of the codec that a whole message reaches only in part.
#include <gtest/gtest.h>

#include "LarkmoorBase/Base64.h"
#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorBase/JSON/Numbers.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

TEST(Base64, IsTheStandardAlphabetWithPadding) {
    struct Case {
        std::string_view plain, coded;
    };
    const Case table[] = {{"", ""},
                          {"f", "Zg=="},
                          {"fo", "Zm8="},
                          {"foo", "Zm9v"},
                          {"foob", "Zm9vYg=="},
                          {"fooba", "Zm9vYmE="},
                          {"foobar", "Zm9vYmFy"},
                          {"\xfb\xff", "+/8="}};
    for (const Case& row : table) {
        EXPECT_EQ(Base64::encode(asBytes(row.plain)), row.coded);
        const auto back = Base64::decode(row.coded);
        ASSERT_TRUE(back) << row.coded;
        EXPECT_EQ(asText(*back), row.plain);
    }
    for (const std::string_view bad :
         {"Zg", "Zg=", "Zg===", "=Zg=", "Zh==", "Zm9=", "Zm 8=", "Zg==Zg==", "Zm8_", "===="}) {
        EXPECT_FALSE(Base64::decode(bad)) << bad;
    }
}

TEST(Numbers, FitOrAreNone) {
    const std::string tiny = "0." + std::string(400, '0') + "1";
    const std::string huge = "1" + std::string(400, '0');
    struct Case {
        std::string text;
        std::optional<Int> whole;
        std::optional<double> finite;
    };
    const Case table[] = {
        {"-0", 0, 0},
        {"5.0", 5, 5},
        {"5e2", 500, 500},
        {"50e-1", 5, 5},
        {"0.5", {}, 0.5},
        {"9223372036854775807", INT64_MAX, 0x1p63},
        {"-9223372036854775808", INT64_MIN, -0x1p63},
        {"9223372036854775808", {}, 0x1p63},
        {"-9223372036854775809", {}, -0x1p63},
        {"9.2e18", 9200000000000000000, 9.2e18},
        {"1.7976931348623157e308", {}, 1.7976931348623157e308},
        {"4.9e-324", {}, 4.9e-324},
        {"1.8e308", {}, {}},
        {"-1e999", {}, {}},
        {"1e-999", 0, 0},
        {"0e999", 0, 0},
        {tiny, 0, 0},
        {tiny + "e999", {}, {}},
        {huge, {}, {}},
        {huge + "e-400", 1, 1},
    };
    for (const Case& row : table) {
        EXPECT_EQ(Numbers::whole(row.text), row.whole) << row.text;
        EXPECT_EQ(Numbers::finite(row.text), row.finite) << row.text;
    }
}

TEST(Codec, ADateIsSecondsSinceTheReference) {
    const Date date{0.1};
    EXPECT_EQ(testing::text(*Encoder::encode(date)), "0.1");
    EXPECT_EQ(Decoder::decode<Date>(asBytes("0.1")), date);
    EXPECT_EQ(testing::text(*Encoder::encode(Date{768225600})), "768225600");
    using namespace std::chrono;
    EXPECT_EQ(Date{86400.5}.timePoint(), sys_days{2001y / 1 / 2} + 500ms);
    EXPECT_EQ(Date::from(sys_days{2001y / 1 / 2}), Date{86400});
}

}  // namespace
}  // namespace larkmoor

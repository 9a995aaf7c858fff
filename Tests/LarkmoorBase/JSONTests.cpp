// The JSON reader and writer with records of their own, in each reading that a caller may choose.
#include <fstream>

#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "Support/Text.h"

namespace larkmoor::testing {
namespace {

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
        {"9223372036854775808", {}, 0x1p63},
        {"-9223372036854775808", INT64_MIN, -0x1p63},
        {"-9223372036854775809", {}, -0x1p63},
        // The last doubles that fit 64 bits, and the first that do not.
        {"9223372036854774784.0", 9223372036854774784, 9223372036854774784.0},
        {"9.223372036854775808e18", {}, 0x1p63},
        {"922337203685477580800e-2", {}, 0x1p63},
        {"-9.223372036854775808e18", INT64_MIN, -0x1p63},
        {"-9.223372036854777856e18", {}, -9223372036854777856.0},
        {"1e19", {}, 1e19},
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

/// What the string must be in a document, one byte after the other.
std::string escaped(std::string_view plain) {
    std::string out = "\"";
    for (const char byte : plain) {
        constexpr std::string_view brief = "\"\"\\\\\bb\ff\nn\rr\tt";
        std::size_t at = 0;
        while (at < brief.size() && brief[at] != byte) at += 2;
        if (at < brief.size())
            out.append({'\\', brief[at + 1]});
        else if (static_cast<unsigned char>(byte) < 0x20)
            out += fmt::format("\\u{:04x}", static_cast<int>(byte));
        else
            out += byte;
    }
    return out + '"';
}

TEST(Encoder, EscapesWhateverNeedsItWhereverItStands) {
    const std::string run(27, 'a');
    for (std::size_t place = 0; place <= run.size(); ++place) {
        for (int byte = 0; byte < 0x80; ++byte) {
            std::string plain = run;
            plain.insert(place, 1, static_cast<char>(byte));
            const auto document = Encoder::encode(plain);
            ASSERT_EQ(text(document.value()), escaped(plain)) << byte << " at " << place;
            ASSERT_EQ(Decoder::decode<std::string>(*document), plain);
        }
        std::string plain = run;
        plain.insert(place, "é𝄞");
        EXPECT_EQ(text(Encoder::encode(plain).value()), '"' + plain + '"');
        plain.insert(place, "\xff");
        EXPECT_EQ(Encoder::encode(plain).error().reason, "text that is not UTF-8") << place;
    }
}

BOOST_DEFINE_ENUM_CLASS(Made, shelf, box, crate)

using MadeSet = std::set<Made>;
using TextSet = std::set<std::string>;
LARKMOOR_RECORD(Receipt, (std::optional<TextSet>, owners), (MadeSet, made), (std::optional<std::string>, version))

TEST(JSON, StrictAndLenientReading) {
    const Receipt box{.owners = {}, .made = {Made::box}, .version = {}};
    struct Case {
        std::string_view document;
        std::optional<Receipt> lenient, strict;
    };
    const Case table[] = {
        {R"({"made":["box"]})", box, box},
        {R"({"made":["box","box"],"owners":null,"version":null,"later":[{}]})", box, box},
        {R"({"made":["crate"],"made":["box"]})", box, {}},
        {R"({"made":["box"],"\u006dade":["box"]})", box, {}},
        {R"({"made":["box"],"later":[{"x":1,"y":2,"x":3}]})", box, {}},
        {R"({"made":["box"],"later":{"made":{"made":{}}}})", box, box},
        {R"({"made":["box","boxes"]})", {}, {}},
        {R"({"made":["box"]}})", {}, {}},
    };
    for (const Case& row : table) {
        const auto read = [&](Strictness strictness) -> std::optional<Receipt> {
            auto value = Decoder::decode<Receipt>(asBytes(row.document), strictness);
            return value ? std::optional{*std::move(value)} : std::nullopt;
        };
        EXPECT_EQ(read(Strictness::lenient), row.lenient) << row.document;
        EXPECT_EQ(read(Strictness::strict), row.strict) << row.document;
    }
    EXPECT_EQ(Decoder::decode<Receipt>(asBytes(R"({"made":[],"a":{"x":1,"x":1}})"), Strictness::strict).error(),
              (CodingFailure{.path = {}, .reason = "a name stands twice: x"}));
}

/// The most bytes of address space that this process ever had.
std::size_t addressSpacePeak() {
    std::ifstream status{"/proc/self/status"};
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmPeak:")) return std::stoul(line.substr(7)) << 10U;
    return 0;
}

TEST(JSON, CountsInForeignBytesReserveNothing) {
    for (const std::string_view element : {",0", ",\"an owner\""}) {
        std::string list = "[null";
        while (list.size() < 8U << 20U) list += element;
        list += ']';
        const std::size_t before = addressSpacePeak();
        EXPECT_FALSE(Decoder::decode<std::vector<Receipt>>(asBytes(list)));
        EXPECT_LE(addressSpacePeak() - before, 6 * list.size()) << element;
    }
}

}  // namespace
}  // namespace larkmoor::testing

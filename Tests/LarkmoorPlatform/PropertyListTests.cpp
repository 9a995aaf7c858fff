// Which lists are refused although they are property lists.
#include "LarkmoorPlatform/PropertyList.h"
#include "LarkmoorPlatform/PropertyListLimits.h"

namespace larkmoor {
namespace {

std::string times(std::size_t count, std::string_view text) {
    std::string all;
    for (std::size_t index = 0; index < count; ++index) all += text;
    return all;
}

std::string xml(const std::string& value) {
    return "<?xml version=\"1.0\"?>\n<plist version=\"1.0\"><dict><key>a</key>" + value +
           "<key>v</key><string>9.9</string></dict></plist>";
}

std::string nested(std::size_t count, std::string_view open = "<array>") {
    return xml(times(count, open) + times(count, "</array>"));
}

std::string bigEndian(std::size_t number, int width) {
    std::string bytes;
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
    return bytes;
}

/// A binary list of a dictionary with these objects, of which the first is the value of its only key.
std::string binary(const std::vector<std::string>& values, int width = 1) {
    std::vector<std::string> objects = {"\xD1" + bigEndian(1, width) + bigEndian(2, width), "Qa"};
    objects.insert(objects.end(), values.begin(), values.end());
    std::string list = "bplist00", offsets;
    for (const std::string& object : objects) {
        offsets += bigEndian(list.size(), 4);
        list += object;
    }
    const std::size_t table = list.size();
    return list + offsets + std::string(6, '\0') + bigEndian(4, 1) + bigEndian(width, 1) +
           bigEndian(objects.size(), 8) + bigEndian(0, 8) + bigEndian(table, 8);
}

/// Arrays, each with `fan` references to the next one.
std::string chain(std::size_t count, std::size_t fan, const std::string& last = "\x09", int width = 1,
                  std::size_t kind = 0xA0) {
    std::vector<std::string> objects;
    for (std::size_t index = 0; index < count; ++index) {
        objects.push_back(static_cast<char>(kind + fan) + times(fan, bigEndian(index + 3, width)));
    }
    objects.push_back(last);
    return binary(objects, width);
}

/// An array of an array with 39 levels, and of 39 arrays around that one.
std::string twoWays() {
    std::vector<std::string> objects = {"\xA2\x2A\x03"};
    for (std::size_t index = 3; index < 81; ++index) objects.push_back("\xA1" + bigEndian(index + 1, 1));
    objects.emplace_back("\x09");
    return binary(objects);
}

using namespace std::string_literals;

TEST(PropertyList, RefusesWhatWouldTakeTooMuchMemoryOrStack) {
    const struct {
        std::string_view name;
        std::string list;
        bool isReadable;
    } table[] = {
        {"64 levels", nested(63), true},
        {"65 levels", nested(64), false},
        {"an empty one within 64 levels", xml(times(63, "<array>") + "<array/>" + times(63, "</array>")), false},
        {"200,000 levels", nested(200'000), false},
        {"200,000 levels without an end", xml(times(200'000, "<dict><key>a</key>")), false},
        {"blanks", nested(64, "<array >"), false},
        {"attributes", nested(64, "<array a=\"/\">"), false},
        {"an end in an attribute", nested(64, "<array a=\"></array>\">"), false},
        {"an end in a comment", nested(64, "<array><!--></array>-->"), false},
        {"an end in an instruction", nested(64, "<array><?a \"?></array>\"?>"), false},
        {"an end in a document type", nested(64, "<array><!DOCTYPE [</array>]>"), false},
        {"side by side", xml("<array>" + times(1'000, "<array>\n</array ><array/><dict />") + "</array>"), true},
        {"comments", xml("<array>" + times(1'000, "<array><!-- \" --></array>") + "</array>"), true},
        {"most values", xml("<array>" + times(99'000, "<true/>") + "</array>"), true},
        {"too many values", xml("<array>" + times(100'000, "<true/>") + "</array>"), false},
        {"too many bytes", xml("<string>" + std::string(PropertyListLimits::maxBytes, 'a') + "</string>"), false},
        {"too many character references", xml("<string>" + times(4'097, "&amp;") + "</string>"), false},
        {"binary, 64 levels", chain(63, 1), true},
        {"binary, 65 levels", chain(64, 1), false},
        {"binary, 40,000 levels", chain(40'000, 1, "\x09", 4), false},
        {"binary, 65,536 values", chain(15, 2), true},
        {"binary, 131,072 values", chain(16, 2), false},
        {"binary, 2^40 values", chain(40, 2), false},
        {"binary, wide references", chain(3, 2, "\x09", 3), true},
        {"binary, one long text for all", chain(12, 2, "\x5F\x11\x10\0"s + std::string(4'096, 'a')), false},
        {"binary, an array in itself", binary({"\xA1\x02"}), false},
        {"binary, sets", chain(16, 2, "\x09", 1, 0xC0), false},
        {"binary, a short way and a long way to one array", twoWays(), false},
        {"binary, the root in itself", binary({"\xA1\0"s}), false},
        {"binary, a reference to nothing", binary({"\xA1\x03"}), false},
        {"binary, a count beyond the end", binary({"\xAF\x13" + std::string(8, '\x7F')}), false},
        {"binary, a key with a NUL", binary({"\xD1\x03\x01", "Sa\0b"s}), false},
        {"binary, a wide key with a NUL", binary({"\xD1\x03\x01", "\x62\0a\0\0"s}), false},
        {"binary, a text with a NUL", binary({"Sa\0b"s}), true},
        {"a NUL", xml("<string>a\0b</string>"s), false},
        {"JSON", R"({"a": [1, 2], "v": "9.9"})", false},
        {"OpenStep", R"({ a = (1, 2); v = "9.9"; })", false},
    };
    for (const auto& [name, list, isReadable] : table) {
        EXPECT_EQ(PropertyList::isReadable(asBytes(list)), isReadable) << name;
    }
}

TEST(PropertyList, DoesNotWriteWhatItWouldNotRead) {
    const std::string ampersands(5'000, '&');
    EXPECT_FALSE(PropertyList::setting({}, "a", ampersands));
    EXPECT_FALSE(PropertyList::setting({}, "a", std::string(PropertyListLimits::maxBytes, 'a')));
}

}  // namespace
}  // namespace larkmoor

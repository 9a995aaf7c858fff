#include "LarkmoorBase/Text.h"

#include <fmt/chrono.h>

#include <algorithm>

#include "LarkmoorBase/UTF8.h"

namespace larkmoor {

namespace {

bool isControl(std::string_view character) {
    const auto lead = static_cast<unsigned char>(character.front());
    if (character.size() == 1) return lead < 0x20 || lead == 0x7F;
    // C1 controls and the Arabic letter mark.
    if (character.size() == 2)
        return (lead == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0) || character == "\u061C";
    // Bytes of one length are in the order of their characters. The joiners between stand in words and in emoji.
    const auto isBetween = [character](std::string_view first, std::string_view last) {
        return character.size() == first.size() && first <= character && character <= last;
    };
    return character == "\u200B" || isBetween("\u200E", "\u200F") || isBetween("\u2028", "\u202E") ||
           isBetween("\u2060", "\u206F") || character == "\uFEFF" || isBetween("\uFFF9", "\uFFFB");
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\n\v\f\r";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string printable(std::string_view text, std::string_view control) {
    std::string line;
    line.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = UTF8::characterLength(text);
        const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
        if (length == 0) {
            line += "\uFFFD";
        } else {
            line += isControl(character) ? control : character;
        }
        text.remove_prefix(character.size());
    }
    return line;
}

std::string iso8601(std::chrono::system_clock::time_point moment) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(seconds)));
}

std::string lowercased(std::string text) {
    for (char& letter : text) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    }
    return text;
}

}  // namespace larkmoor

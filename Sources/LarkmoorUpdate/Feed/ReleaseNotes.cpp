#include "LarkmoorUpdate/Feed/ReleaseNotes.h"

#include <algorithm>
#include <array>
#include <utility>

#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/UTF8.h"
#include "LarkmoorBase/WholeNumber.h"

namespace larkmoor {

namespace {

/// Text in the making, in which white space is collapsed.
struct Lines {
    std::string text;
    std::size_t feeds = 0;
    bool isSpaceDue = false;

    void put(std::string_view character) {
        const auto byte = static_cast<unsigned char>(character[0]);
        if (character == "\u00A0" || byte == ' ' || byte == '\t') return void(isSpaceDue = true);
        if (printable(character) != character) return;
        if (!text.empty()) text += feeds > 0 ? std::string(feeds, '\n') : isSpaceDue ? " " : "";
        feeds = 0;
        isSpaceDue = false;
        text += character;
    }
    void endLine() { feeds = std::max<std::size_t>(feeds, 1); }
    void endParagraph() { feeds = 2; }
    void feed() { feeds = std::min<std::size_t>(feeds + 1, 2); }
};

/// The character that a reference at the front of the text stands for, which is taken; "" if none stands there.
std::string takeReference(std::string_view& text) {
    constexpr std::size_t longest = 10;
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 6> names{
        {{"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}, {"apos", "'"}, {"nbsp", " "}}};
    const auto end = text.substr(0, longest).find(';');
    if (text[0] != '&' || end == std::string_view::npos) return {};
    std::string_view name = text.substr(1, end - 1);
    std::string character;
    if (const auto* known = std::ranges::find(names, name, &std::pair<std::string_view, std::string_view>::first);
        known != names.end()) {
        character = known->second;
    } else if (name.size() > 1 && name[0] == '#') {
        const bool isHex = (name[1] | 0x20) == 'x';
        name.remove_prefix(isHex ? 2 : 1);
        const auto scalar = wholeNumber<std::uint32_t>(name, isHex ? 16 : 10);
        if (!scalar || *scalar > 0x10FFFF || (*scalar >= 0xD800 && *scalar <= 0xDFFF)) return {};
        UTF8::append(character, *scalar);
    }
    if (!character.empty()) text.remove_prefix(end + 1);
    return character;
}

/// Takes a tag or a comment from the front of the text, with what it hides; false if none stands there.
bool takeMarkup(std::string_view& text, Lines& lines) {
    const auto skipPast = [&text](const std::string& mark) {
        const auto found = text.find(mark);
        text.remove_prefix(found == std::string_view::npos ? text.size() : found + mark.size());
    };
    const auto isLetter = [](char one) { return (one | 0x20) >= 'a' && (one | 0x20) <= 'z'; };
    if (text.size() < 2 || text[0] != '<') return false;
    if (text.starts_with("<!--")) return skipPast("-->"), true;
    const bool isEnd = text[1] == '/';
    if (!isEnd && text[1] != '!' && text[1] != '?' && !isLetter(text[1])) return false;
    const std::string_view inner = text.substr(isEnd ? 2 : 1);
    const std::string name = lowercased(std::string{inner.substr(0, inner.find_first_of(" \t\r\n/>"))});
    skipPast(">");
    if (!isEnd && (name == "script" || name == "style" || name == "title")) skipPast("</" + name), skipPast(">");
    const bool isHeading = name.size() == 2 && name[0] == 'h' && name[1] >= '1' && name[1] <= '6';
    if (name == "p" || name == "ul" || name == "ol" || isHeading) lines.endParagraph();
    if (name == "div" || name == "tr" || name == "li") lines.endLine();
    if (name == "br") lines.feed();
    if (name == "li" && !isEnd) lines.put("•"), lines.put(" ");
    return true;
}

}  // namespace

std::string ReleaseNotes::plainText(std::string_view notes, bool isHTML) {
    Lines lines;
    while (!notes.empty() && lines.text.size() <= mostBytes) {
        if (isHTML && takeMarkup(notes, lines)) continue;
        std::string character = isHTML ? takeReference(notes) : std::string{};
        if (character.empty()) {
            const std::size_t length = UTF8::characterLength(notes);
            character = notes.substr(0, length);
            notes.remove_prefix(std::max<std::size_t>(length, 1));
        }
        const bool isFeed = character == "\n";
        if (isFeed && !isHTML)
            lines.feed();
        else if (!character.empty())
            lines.put(isFeed || character == "\r" ? " " : character);
    }
    if (lines.text.size() <= mostBytes) return lines.text;
    std::size_t end = mostBytes;
    while ((static_cast<unsigned char>(lines.text[end]) & 0xC0U) == 0x80) --end;
    return lines.text.substr(0, end) + "…";
}

}  // namespace larkmoor

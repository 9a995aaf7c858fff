#include "LarkmoorPlatform/Linux/Services/UnitText.h"

#include <algorithm>

#include "LarkmoorBase/UTF8.h"

namespace larkmoor::UnitText {

namespace {

bool isPlain(std::string_view text) {
    return UTF8::isValid(text) && std::ranges::none_of(text, [](char letter) {
               return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F;
           });
}

bool isLetter(char letter) { return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z'); }
bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

}  // namespace

std::optional<std::string> quoted(std::string_view text) {
    if (!isPlain(text)) return std::nullopt;
    std::string words = "\"";
    for (const char letter : text) {
        if (letter == '\\' || letter == '"') words += '\\';
        if (letter == '%') words += '%';
        words += letter;
    }
    return words += '"';
}

std::optional<std::string> path(std::string_view path) {
    const bool reads = isPlain(path) && path.starts_with('/') && !path.ends_with(' ') && !path.ends_with('\\');
    if (!reads) return std::nullopt;
    std::string words;
    for (const char letter : path) words.append(letter == '%' ? 2 : 1, letter);
    return words;
}

std::string unescapedPath(std::string_view text) {
    std::string path;
    for (std::size_t index = 0; index < text.size(); ++index) {
        path += text[index];
        if (text.substr(index, 2) == "%%") ++index;
    }
    return path;
}

bool isName(std::string_view text) {
    constexpr std::size_t maxBytes = 240;  // of the 255 that a unit's whole name may have
    return !text.empty() && text.size() <= maxBytes && !text.starts_with('.') &&
           std::ranges::all_of(text, [](char letter) {
               return isLetter(letter) || isDigit(letter) || letter == '.' || letter == '-' || letter == '_' ||
                      letter == ':';
           });
}

bool isVariable(std::string_view text) {
    return !text.empty() && !isDigit(text.front()) &&
           std::ranges::all_of(text, [](char letter) { return isLetter(letter) || isDigit(letter) || letter == '_'; });
}

}  // namespace larkmoor::UnitText

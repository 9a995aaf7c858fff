#include "LarkmoorBase/FileURL.h"

#include <strings.h>

#include <charconv>

#include "LarkmoorBase/UTF8.h"

namespace larkmoor::FileURL {

namespace {

bool isSameWord(std::string_view left, std::string_view right) {
    return left.size() == right.size() && ::strncasecmp(left.data(), right.data(), left.size()) == 0;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        auto byte = static_cast<unsigned char>(text.front());
        const bool isEscape = byte == '%';
        if (isEscape && (text.size() < 3 || std::from_chars(&text[1], &text[1] + 2, byte, 16).ptr != &text[1] + 2)) {
            return std::nullopt;
        }
        plain += static_cast<char>(byte);
        text.remove_prefix(isEscape ? 3 : 1);
    }
    return plain;
}

}  // namespace

std::optional<std::string> path(std::string_view url) {
    constexpr std::string_view scheme = "file:";
    if (!isSameWord(url.substr(0, scheme.size()), scheme)) return std::nullopt;
    url.remove_prefix(scheme.size());
    url = url.substr(0, url.find_first_of("?#"));
    if (url.starts_with("//")) {
        url.remove_prefix(2);
        const std::string_view authority = url.substr(0, url.find('/'));
        if (!authority.empty() && !isSameWord(authority, "localhost")) return std::nullopt;
        url.remove_prefix(authority.size());
    }
    if (!url.starts_with('/')) return std::nullopt;
    auto path = percentDecoded(url);
    if (!path || !UTF8::isValid(*path) || path->contains('\0')) return std::nullopt;
    while (path->size() > 1 && path->ends_with('/')) path->pop_back();
    return path;
}

}  // namespace larkmoor::FileURL

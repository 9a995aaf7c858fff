#include "LarkmoorPlatform/HTTPClient.h"

#include "LarkmoorBase/WholeNumber.h"

namespace larkmoor {

namespace {

/// Cuts what is in front of the separator off the text; the whole text if there is none.
std::string_view cut(std::string_view& text, std::size_t end) {
    const std::string_view front = text.substr(0, end);
    text.remove_prefix(front.size());
    return front;
}

}  // namespace

std::optional<HTTPAddress> HTTPAddress::parse(std::string_view url) {
    constexpr std::string_view scheme = "http://";
    // Whatever is not printed ASCII would have to be escaped, and a line feed would begin a header of its own.
    const bool isPrinted = std::ranges::all_of(url, [](char letter) { return letter > ' ' && letter < '\x7f'; });
    if (!isPrinted || !url.starts_with(scheme)) return std::nullopt;
    url.remove_prefix(scheme.size());
    std::string_view authority = cut(url, url.find_first_of("/?#"));
    const bool isBracketed = authority.starts_with('[');
    std::string_view host = cut(authority, isBracketed ? authority.find(']') : authority.find(':'));
    if (isBracketed) {
        host.remove_prefix(1);
        if (!authority.starts_with(']')) return std::nullopt;
        authority.remove_prefix(1);
    }
    if (host.empty() || host.contains('@') || !authority.starts_with(':')) return std::nullopt;
    authority.remove_prefix(1);
    HTTPAddress address{.host = std::string{host}, .path = url.empty() ? "/" : std::string{url}};
    address.port = wholeNumber<std::uint16_t>(authority).value_or(0);
    if (address.port == 0 || !address.path.starts_with('/')) return std::nullopt;
    return address;
}

}  // namespace larkmoor

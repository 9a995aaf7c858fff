#include "LarkmoorUpdate/Feed/WebAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "LarkmoorBase/Text.h"

namespace larkmoor {

namespace {

/// The five components of RFC 3986, appendix B. All but the path keep their delimiter, so that they are absent or
/// whole.
struct Components {
    std::string scheme;     ///< "https:", in small letters
    std::string authority;  ///< "//host:80"
    std::string path;
    std::string query;     ///< "?name=value"
    std::string fragment;  ///< "#place"

    explicit Components(std::string_view text) {
        const auto takeUntil = [&text](std::string_view delimiters, std::size_t from = 0) {
            const std::string_view taken = text.substr(0, text.find_first_of(delimiters, from));
            text.remove_prefix(taken.size());
            return std::string{taken};
        };
        const std::size_t colon = text.find_first_not_of(schemeCharacters);
        if (colon != text.npos && colon > 0 && text[colon] == ':' && schemeCharacters.find(text[0]) < letters) {
            scheme = lowercased(std::string{text.substr(0, colon + 1)});
            text.remove_prefix(scheme.size());
        }
        if (text.starts_with("//")) authority = takeUntil("/?#", 2);
        path = takeUntil("?#");
        query = takeUntil("#");
        fragment = text;
    }

    bool isOnWeb() const { return scheme == "http:" || scheme == "https:"; }
    bool hasHost() const {
        const std::string_view rest = std::string_view{authority}.substr(std::min<std::size_t>(2, authority.size()));
        const std::string_view host = rest.substr(rest.find('@') + 1);
        return !host.empty() && !host.starts_with(':');
    }
    std::string text() const { return scheme + authority + path + query + fragment; }

  private:
    static constexpr std::string_view schemeCharacters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.";
    static constexpr std::size_t letters = 52;
};

/// A path that begins with a slash, or is empty, without its "." and "..".
std::string withoutDotSegments(std::string_view path) {
    std::vector<std::string_view> kept;
    while (!path.empty()) {
        const std::string_view segment = path.substr(0, path.find('/', 1));
        path.remove_prefix(segment.size());
        if (segment != "/." && segment != "/..") {
            kept.push_back(segment);
            continue;
        }
        if (segment == "/.." && !kept.empty()) kept.pop_back();
        if (path.empty()) kept.emplace_back("/");
    }
    return fmt::format("{}", fmt::join(kept, ""));
}

/// nullopt if there is a control character.
std::optional<std::string> escaped(std::string_view text) {
    constexpr std::string_view notAllowed = " \"<>\\^`{|}";
    constexpr unsigned char lastControl = 0x1F, deletion = 0x7F;
    std::string out;
    for (const char byte : text) {
        const auto code = static_cast<unsigned char>(byte);
        if (code <= lastControl || code == deletion) return std::nullopt;
        if (code > deletion || notAllowed.contains(byte)) {
            out += fmt::format("%{:02X}", code);
        } else {
            out += byte;
        }
    }
    return out;
}

}  // namespace

std::expected<std::string, AddressFault> webAddress(std::string_view base, std::string_view reference) {
    const auto text = escaped(trimmed(reference));
    if (!text || text->empty()) return std::unexpected(AddressFault::malformed);
    Components target{*text};
    if (target.scheme.empty()) {
        const Components origin{base};
        if (origin.scheme.empty()) return std::unexpected(AddressFault::malformed);
        target.scheme = origin.scheme;
        if (target.authority.empty()) {
            target.authority = origin.authority;
            if (target.path.empty()) {
                target.path = origin.path;
                if (target.query.empty()) target.query = origin.query;
            } else if (!target.path.starts_with('/')) {
                target.path = origin.path.substr(0, origin.path.rfind('/') + 1) + target.path;
                if (!target.path.starts_with('/')) target.path.insert(0, 1, '/');
            }
        }
    }
    if (!target.isOnWeb()) return std::unexpected(AddressFault::otherScheme);
    if (!target.hasHost()) return std::unexpected(AddressFault::malformed);
    target.path = withoutDotSegments(target.path);
    return target.text();
}

}  // namespace larkmoor

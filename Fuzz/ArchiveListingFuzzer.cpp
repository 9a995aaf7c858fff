// An accepted list of an archive's entries leads nowhere out of the folder, whatever its links are made of.
#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorKit/Archive/ArchiveListing.h"
#include "Require.h"

namespace {

using Path = std::vector<std::string>;

std::string text(const Path& path) {
    std::string all;
    for (const std::string& part : path) all += (all.empty() ? "" : "/") + part;
    return all;
}

/// Follows the parts from the folder `at` as the system does, which must never go above the archive's folder.
void walk(Path at, std::string_view parts, const std::map<std::string, std::string>& links, int depth) {
    constexpr int maxDepth = 40;
    if (depth > maxDepth) return;  // ELOOP
    while (!parts.empty()) {
        const std::string part{parts.substr(0, parts.find('/'))};
        parts.remove_prefix(std::min(part.size() + 1, parts.size()));
        if (part == ".") continue;
        if (part == "..") {
            larkmoor::fuzz::require(!at.empty(), "a link leads out");
            at.pop_back();
            continue;
        }
        at.push_back(part);
        const auto link = links.find(text(at));
        if (link == links.end()) continue;
        at.pop_back();
        const std::string rest = link->second + (parts.empty() ? "" : "/") + std::string{parts};
        return walk(at, rest, links, depth + 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace larkmoor;
    static_cast<void>(ArchiveListing::objection({reinterpret_cast<const char*>(data), size}, {}));
    const auto path = [](unsigned bits) {
        static const char* const parts[] = {"a", "b", "..", "."};
        std::string all = parts[bits & 3U];
        for (unsigned count = bits >> 6U; count > 0; --count) all += std::string{"/"} + parts[(bits >>= 2U) & 3U];
        return all;
    };
    std::string listing;
    std::map<std::string, std::string> links;
    for (; size >= 3; data += 3, size -= 3) {
        const char type = "-dl"[data[0] % 3];
        const std::string name = path(data[1]), target = path(data[2]);
        listing += std::string{type} + "rwxr-xr-x 0/0 0 2026-01-31 12:00:00 \"" + name + "\"";
        listing += (type == 'l' ? " -> \"" + target + "\"" : "") + "\n";
        Path plain;
        for (std::size_t at = 0; at <= name.size(); at = std::min(name.find('/', at), name.size()) + 1) {
            const std::string part = name.substr(at, name.find('/', at) - at);
            if (part != ".") plain.push_back(part);
        }
        if (type == 'l') links[text(plain)] = target;
    }
    if (ArchiveListing::objection(listing, {})) return 0;
    for (const auto& [name, target] : links) walk({}, name, links, 0);
    return 0;
}

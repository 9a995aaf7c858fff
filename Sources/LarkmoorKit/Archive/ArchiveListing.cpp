#include "LarkmoorKit/Archive/ArchiveListing.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <expected>
#include <map>
#include <vector>

namespace larkmoor::ArchiveListing {

namespace {

using Words = std::optional<std::string>;
using Parts = std::vector<std::string_view>;

/// One line: `-rw-r--r-- 0/0  6 2026-01-31 12:00:00 "name"`, for a link with ` -> "target"` or ` link to "target"`.
struct Entry {
    std::string_view mode;  ///< ten characters, the type first
    std::int64_t size = 0;
    std::string_view name;
    std::string_view target;  ///< of a link

    char type() const { return mode.front(); }
};

/// Removes a quoted text without anything escaped in it.
std::optional<std::string_view> takeQuoted(std::string_view& line) {
    if (!line.starts_with('"')) return std::nullopt;
    const std::size_t end = line.find('"', 1);
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view text = line.substr(1, end - 1);
    line.remove_prefix(end + 1);
    return text.contains('\\') ? std::nullopt : std::optional{text};
}

std::string_view takeField(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    const std::string_view field = line.substr(0, line.find(' '));
    line.remove_prefix(field.size());
    return field;
}

std::optional<Entry> parse(std::string_view line) {
    const std::size_t quote = line.find('"');
    if (quote == std::string_view::npos) return std::nullopt;
    std::string_view facts = line.substr(0, quote), names = line.substr(quote);
    Entry entry{.mode = takeField(facts), .name = {}, .target = {}};
    takeField(facts);
    // In its place a device has two numbers.
    const std::string_view size = takeField(facts);
    const auto [last, failed] = std::from_chars(size.data(), size.data() + size.size(), entry.size);
    const bool isDevice = last != size.data() + size.size() && *last == ',';
    const auto name = takeQuoted(names);
    constexpr std::size_t modeSize = 10;
    if (!name || entry.mode.size() != modeSize || failed != std::errc{} || entry.size < 0) return std::nullopt;
    if (last != size.data() + size.size() && !isDevice) return std::nullopt;
    entry.name = *name;
    const std::string_view arrow = entry.type() == 'l' ? " -> " : entry.type() == 'h' ? " link to " : "";
    if (!names.starts_with(arrow)) return std::nullopt;
    names.remove_prefix(arrow.size());
    if (!arrow.empty()) {
        const auto target = takeQuoted(names);
        if (!target) return std::nullopt;
        entry.target = *target;
    }
    return names.empty() ? std::optional{entry} : std::nullopt;
}

/// Without "." and what is empty.
Parts partsOf(std::string_view path) {
    Parts parts;
    while (!path.empty()) {
        const std::string_view part = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(part.size() + 1, path.size()));
        if (!part.empty() && part != ".") parts.push_back(part);
    }
    return parts;
}

bool leadsOut(std::string_view path, const Parts& parts) {
    return path.starts_with('/') || std::ranges::find(parts, "..") != parts.end();
}

/// `depth`: the folders above the link, the archive's own not counted.
bool linkLeadsOut(std::string_view target, std::size_t depth) {
    if (target.empty() || target.starts_with('/')) return true;
    const Parts parts = partsOf(target);
    const auto down = std::ranges::find_if(parts, [](std::string_view part) { return part != ".."; });
    return static_cast<std::size_t>(down - parts.begin()) > depth || std::find(down, parts.end(), "..") != parts.end();
}

std::string joined(const Parts& parts) { return fmt::format("{}", fmt::join(parts, "/")); }

/// What the lines so far make, by path.
class Judgement {
  public:
    explicit Judgement(const Limits& limits) : limits_(limits) {}

    Words take(const Entry& entry) {
        const auto refuse = [&entry](std::string_view why) { return fmt::format("{}: {}", entry.name, why); };
        constexpr std::string_view types = "-dlh";
        if (!types.contains(entry.type())) return refuse("neither a file nor a folder nor a link");
        if (entry.mode.find_first_of("sS") != std::string_view::npos) return refuse("a set-user or set-group bit");
        const Parts parts = partsOf(entry.name);
        if (leadsOut(entry.name, parts)) return refuse("it leads out of its folder");
        const bool isFolder = entry.type() == 'd';
        // Else we could neither move nor remove it.
        if (isFolder && !entry.mode.substr(1).starts_with("rwx")) return refuse("a folder that is closed to its owner");
        if (parts.empty()) return isFolder ? std::nullopt : Words{refuse("it has no name")};
        if (entry.type() == 'l' && linkLeadsOut(entry.target, parts.size() - 1)) return refuse("a link that leads out");
        if (entry.type() == 'h' && !isFile(entry.target)) return refuse("a link to no file before it");
        bytes_ += std::min(entry.size, limits_.bytes + 1);
        if (bytes_ > limits_.bytes) return fmt::format("more than {} bytes", limits_.bytes);
        const auto [known, isNew] = types_.emplace(joined(parts), entry.type());
        if (!isNew && !(isFolder && known->second == 'd')) return refuse("it is there twice");
        return std::nullopt;
    }

    /// An entry's way may be closed by one that comes after it, so this is asked at the end.
    Words belowNoFolder() const {
        for (const auto& [path, type] : types_) {
            for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
                const auto above = types_.find(path.substr(0, slash));
                if (above != types_.end() && above->second != 'd') return path + ": it lies below what is no folder";
            }
        }
        return std::nullopt;
    }

  private:
    bool isFile(std::string_view target) const {
        const Parts parts = partsOf(target);
        if (leadsOut(target, parts)) return false;
        const auto found = types_.find(joined(parts));
        return found != types_.end() && (found->second == '-' || found->second == 'h');
    }

    const Limits limits_;
    std::map<std::string, char> types_;
    std::int64_t bytes_ = 0;
};

}  // namespace

std::optional<std::string> objection(std::string_view listing, const Limits& limits) {
    if (listing.size() > limits.listingBytes) return "its list of entries is too long";
    Judgement judgement{limits};
    for (std::size_t count = 0; !listing.empty(); ++count) {
        if (count == limits.entries) return fmt::format("more than {} entries", limits.entries);
        const std::size_t end = listing.find('\n');
        if (end == std::string_view::npos) return "its list of entries is cut";
        const auto entry = parse(listing.substr(0, end));
        if (!entry) return "an entry that is not understood: " + std::string{listing.substr(0, std::min(end, 200UL))};
        if (auto words = judgement.take(*entry)) return words;
        listing.remove_prefix(end + 1);
    }
    return judgement.belowNoFolder();
}

}  // namespace larkmoor::ArchiveListing

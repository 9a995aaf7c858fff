#include "LarkmoorPlatform/PropertyListLimits.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

namespace larkmoor::PropertyListLimits {

namespace {

constexpr std::string_view binaryHeader = "bplist00";
constexpr std::size_t trailerSize = 32;

/// The objects of a binary list. Its parts are, all numbers being big-endian:
/// - the header of 8 bytes;
/// - the objects: a byte with the kind and a count, the count as an integer object if it is 15 or more, then the bytes
///   of a text or data, or the references of a container to other objects, by index;
/// - the offset table, with the place of each object;
/// - the trailer: 6 bytes, the width of an offset, the width of a reference, then with 8 bytes each the number of
///   objects, the index of the root and the place of the offset table.
class ObjectTable {
  public:
    explicit ObjectTable(std::string_view list) : list_(list) {}

    bool isWithinLimits() {
        if (list_.size() < binaryHeader.size() + trailerSize) return false;
        const std::size_t trailer = list_.size() - trailerSize;
        offsetWidth_ = byteAt(trailer + 6);
        referenceWidth_ = byteAt(trailer + 7);
        const std::uint64_t count = number(trailer + 8, 8);
        table_ = number(trailer + 24, 8);
        if (!isWidth(offsetWidth_) || !isWidth(referenceWidth_) || count > maxNodes) return false;
        if (table_ > trailer || (trailer - table_) / offsetWidth_ < count) return false;
        sizes_.resize(count);
        return sizeOf(number(trailer + 16, 8), 0).has_value();
    }

  private:
    /// With everything that is referred to; zero nodes if not known yet.
    struct Size {
        std::uint64_t nodes = 0;
        int depth = 0;
        bool isKey = false;  ///< whether it may be one
    };
    struct Object {
        bool isContainer = false, isText = false;
        std::uint64_t at = 0;                    ///< of the payload, or of the first reference
        std::uint64_t payload = 0;               ///< bytes of a text or data
        std::size_t unit = 1;                    ///< width of a character
        std::uint64_t references = 0, keys = 0;  ///< how many, and how many of them come first as keys
    };

    static bool isWidth(std::size_t width) { return (width >= 1 && width <= 4) || width == 8; }

    std::uint8_t byteAt(std::size_t at) const { return static_cast<std::uint8_t>(list_[at]); }

    std::uint64_t number(std::size_t at, std::size_t width) const {
        std::uint64_t number = 0;
        for (std::size_t index = 0; index < width; ++index) number = number << 8 | byteAt(at + index);
        return number;
    }

    std::optional<Object> object(std::uint64_t index) const {
        std::uint64_t at = number(table_ + index * offsetWidth_, offsetWidth_);
        if (at < binaryHeader.size() || at >= table_) return std::nullopt;
        const int kind = byteAt(at) >> 4;
        std::uint64_t count = byteAt(at) & 0xF;
        const bool isContainer = kind >= 0xA && kind <= 0xD;
        const bool isDictionary = kind == 0xD;
        const bool isText = kind == 0x5 || kind == 0x6;
        if (!isContainer && !isText && kind != 0x4) return Object{};
        ++at;
        if (count == 0xF) {
            if (at >= table_ || byteAt(at) < 0x10 || byteAt(at) > 0x13) return std::nullopt;
            const std::size_t width = std::size_t{1} << (byteAt(at) & 0xF);
            ++at;
            if (table_ - at < width) return std::nullopt;
            count = number(at, width);
            at += width;
        }
        const std::size_t unit = kind == 0x6 ? 2 : 1;  // UTF-16
        const std::size_t width = isContainer ? referenceWidth_ * (isDictionary ? 2 : 1) : unit;
        if (count > (table_ - at) / width) return std::nullopt;
        if (!isContainer) return Object{.isText = isText, .at = at, .payload = count * width, .unit = unit};
        return Object{.isContainer = true,
                      .at = at,
                      .references = count * (isDictionary ? 2 : 1),
                      .keys = isDictionary ? count : 0};
    }

    /// libplist ends the process over a key with a NUL.
    bool isKey(const Object& object) const {
        if (!object.isText) return false;
        for (std::uint64_t at = object.at; at < object.at + object.payload; at += object.unit) {
            if (number(at, object.unit) == 0) return false;
        }
        return true;
    }

    /// nullopt if the object does not exist or is over the limits, also by a cycle. `level` is the number of containers
    /// around it.
    std::optional<Size> sizeOf(std::uint64_t index, int level) {
        if (index >= sizes_.size()) return std::nullopt;
        if (sizes_[index].nodes == 0) {
            const auto object = this->object(index);
            if (!object || (object->isContainer && level == maxDepth)) return std::nullopt;
            Size size{1 + object->payload / 64, object->isContainer ? 1 : 0, isKey(*object)};
            for (std::uint64_t each = 0; each < object->references; ++each) {
                const auto inner = sizeOf(number(object->at + each * referenceWidth_, referenceWidth_), level + 1);
                if (!inner || (size.nodes += inner->nodes) > maxNodes) return std::nullopt;
                if (each < object->keys && !inner->isKey) return std::nullopt;
                size.depth = std::max(size.depth, inner->depth + 1);
            }
            sizes_[index] = size;
        }
        const Size known = sizes_[index];
        return level + known.depth <= maxDepth ? std::optional{known} : std::nullopt;
    }

    std::string_view list_;
    std::size_t offsetWidth_ = 0, referenceWidth_ = 0;
    std::uint64_t table_ = 0;
    std::vector<Size> sizes_{};  ///< of each object
};

/// What follows the name if the text begins with `start` and the name of a container.
std::optional<std::string_view> afterContainerName(std::string_view text, std::string_view start) {
    if (!text.starts_with(start)) return std::nullopt;
    text.remove_prefix(start.size());
    for (const std::string_view name : {"array", "dict"}) {
        if (!text.starts_with(name)) continue;
        text.remove_prefix(name.size());
        return text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    }
    return std::nullopt;
}

/// As libplist does, it skips what is in double quotes. Nothing is found behind the start of a document type's internal
/// subset.
std::size_t findUnquoted(std::string_view xml, std::string_view end, std::size_t from) {
    bool isQuoted = false;
    for (std::size_t at = from; at < xml.size(); ++at) {
        if (xml[at] == '"') isQuoted = !isQuoted;
        if (isQuoted) continue;
        if (xml.substr(at).starts_with(end)) return at;
        if (xml[at] == '[') break;
    }
    return xml.npos;
}

std::size_t endOfMarkup(std::string_view xml, std::size_t start) {
    const std::string_view markup = xml.substr(start);
    if (markup.starts_with("<!--")) return xml.find("-->", start + 4);
    if (markup.starts_with("<![CDATA[")) return xml.find("]]>", start + 9);
    return findUnquoted(xml, markup.starts_with("<?") ? "?>" : ">", start);
}

/// Containers are counted as opened wherever they seem to be, and as closed only where libplist sees it too: not in
/// comments, character data, quotes and the like.
bool isWithinLimits(std::string_view xml) {
    if (xml.contains('\0') || std::ranges::count(xml, '&') > maxCharacterReferences) return false;
    std::uint64_t nodes = 0;
    int depth = 0;
    std::size_t end = 0;  // of the markup before
    for (std::size_t at = xml.find('<'); at != xml.npos; at = xml.find('<', at + 1)) {
        const std::string_view rest = xml.substr(at);
        if (!rest.starts_with("</") && ++nodes > maxNodes) return false;
        const auto opened = afterContainerName(rest, "<");
        if (opened && depth == maxDepth) return false;
        if (opened && !opened->starts_with("/>")) ++depth;
        if (at < end) continue;
        const auto closed = afterContainerName(rest, "</");
        if (closed && closed->starts_with('>')) depth = std::max(depth - 1, 0);
        end = endOfMarkup(xml, at);
    }
    return true;
}

}  // namespace

bool isBinary(BytesView document) { return asText(document).starts_with(binaryHeader); }

bool allow(BytesView document) {
    if (document.size() > maxBytes) return false;
    const std::string_view list = asText(document);
    return isBinary(document) ? ObjectTable{list}.isWithinLimits() : isWithinLimits(list);
}

}  // namespace larkmoor::PropertyListLimits

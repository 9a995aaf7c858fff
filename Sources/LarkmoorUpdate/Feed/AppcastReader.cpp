#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <pugixml.hpp>
#include <utility>

#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/UTF8.h"
#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorUpdate/Feed/Appcast.h"
#include "LarkmoorUpdate/Feed/Version.h"
#include "LarkmoorUpdate/Feed/WebAddress.h"

namespace larkmoor {

namespace {

constexpr std::string_view frameworkURI = "http://www.andymatuschak.org/xml-namespaces/sparkle";

/// The namespaces of feeds: RSS has none.
enum class Space { rss, framework };

/// An element with the namespaces that are declared at it and around it, which pugixml leaves to us. Valid as long as
/// the element around it.
class Element {
  public:
    explicit Element(pugi::xml_node node, const Element* outer = nullptr) : node_(node), outer_(outer) {
        for (const pugi::xml_attribute attribute : node.attributes()) {
            const std::string_view name = attribute.name();
            if (name == "xmlns") declared_.try_emplace("", attribute.value());
            if (name.starts_with("xmlns:")) declared_.try_emplace(name.substr(name.find(':') + 1), attribute.value());
        }
    }

    bool is(Space space, std::string_view name) const {
        const auto [prefix, local] = split(node_.name());
        return local == name && isOf(space, prefix, namespaceOf(prefix));
    }

    /// "" if there is none. Without a prefix it has no namespace, whatever its element has.
    std::string_view attribute(Space space, std::string_view name) const {
        for (const pugi::xml_attribute attribute : node_.attributes()) {
            const auto [prefix, local] = split(attribute.name());
            if (local == name && isOf(space, prefix, prefix.empty() ? "" : namespaceOf(prefix))) {
                return trimmed(attribute.value());
            }
        }
        return "";
    }

    bool has(Space space, std::string_view name) const {
        return std::ranges::any_of(node_.attributes(), [&](const pugi::xml_attribute attribute) {
            const auto [prefix, local] = split(attribute.name());
            return local == name && isOf(space, prefix, prefix.empty() ? "" : namespaceOf(prefix));
        });
    }

    std::string_view language() const { return trimmed(node_.attribute("xml:lang").value()); }

    std::string text() const {
        std::string all;
        for (const pugi::xml_node child : node_.children()) {
            if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) all += child.value();
        }
        return std::string{trimmed(all)};
    }

    template <class Visit>
    void forEachChild(Visit visit) const {
        for (const pugi::xml_node child : node_.children()) {
            if (child.type() == pugi::node_element) visit(Element{child, this});
        }
    }

  private:
    static std::pair<std::string_view, std::string_view> split(std::string_view name) {
        const std::size_t colon = name.find(':');
        if (colon == name.npos) return {"", name};
        return {name.substr(0, colon), name.substr(colon + 1)};
    }

    static bool isOf(Space space, std::string_view prefix, std::string_view uri) {
        return space == Space::framework ? uri == frameworkURI : prefix.empty() && uri.empty();
    }

    std::string_view namespaceOf(std::string_view prefix) const {
        for (const Element* at = this; at; at = at->outer_) {
            if (const auto found = at->declared_.find(prefix); found != at->declared_.end()) return found->second;
        }
        return "";
    }

    pugi::xml_node node_;
    const Element* outer_;
    std::map<std::string_view, std::string_view> declared_;
};

using Item = Appcast::Item;
using Archive = Appcast::Archive;

constexpr auto texts = std::to_array<std::pair<std::string_view, std::string Item::*>>({
    {"version", &Item::versionString},
    {"shortVersionString", &Item::displayVersionString},
    {"channel", &Item::channel},
    {"minimumSystemVersion", &Item::minimumSystemVersion},
    {"maximumSystemVersion", &Item::maximumSystemVersion},
    {"minimumAutoupdateVersion", &Item::minimumAutoupdateVersion},
});

std::optional<std::uint64_t> readLength(std::string_view text) {
    const auto length = wholeNumber<std::uint64_t>(text);
    return length > 0U ? length : std::nullopt;
}

/// Reads one item.
class ItemReader {
  public:
    ItemReader(const Element& item, std::string_view base) : base_(base) {
        item.forEachChild([this](const Element& child) { read(child); });
        if (item_.versionString.empty()) {
            std::erase_if(item_.archives, [](const Archive& archive) { return archive.versionString.empty(); });
        }
    }

    bool isWhole() const {
        const bool hasVersion = !item_.versionString.empty() || !item_.archives.empty();
        const bool lacksArchive = hasEnclosure_ && item_.archives.empty();
        return hasVersion && !lacksArchive && !isGarbled_ && UTF8::isValid(item_.notes);
    }
    Item& item() { return item_; }
    /// The archive's address that is neither http nor https; "" if there is none.
    const std::string& strangeArchive() const { return strangeArchive_; }

  private:
    void read(const Element& child) {
        for (const auto& [name, field] : texts) {
            if (child.is(Space::framework, name)) keepVersion(item_.*field, child.text());
        }
        if (child.is(Space::rss, "enclosure")) readEnclosure(child);
        if (child.is(Space::framework, "deltas")) {
            child.forEachChild([this](const Element& each) { hasEnclosure_ |= each.is(Space::rss, "enclosure"); });
        }
        if (child.is(Space::rss, "link")) keepLink(item_.infoURL, child);
        if (child.is(Space::framework, "fullReleaseNotesLink")) keepLink(item_.historyURL, child);
        if (child.is(Space::framework, "releaseNotesLink")) {
            if (auto url = webAddress(base_, child.text())) {
                item_.notesLinks.push_back({std::string{child.language()}, *std::move(url)});
            }
        }
        if (child.is(Space::rss, "description") && item_.notes.empty()) {
            item_.notes = child.text();
            item_.notesArePlainText = child.attribute(Space::framework, "format") == "plain-text";
        }
        if (child.is(Space::framework, "informationalUpdate")) readInformational(child);
        if (child.is(Space::framework, "criticalUpdate")) readCritical(child);
        if (child.is(Space::framework, "tags")) {
            child.forEachChild([this](const Element& tag) {
                if (tag.is(Space::framework, "criticalUpdate")) readCritical(tag);
            });
        }
    }

    void readEnclosure(const Element& enclosure) {
        hasEnclosure_ = true;
        if (enclosure.has(Space::framework, "deltaFrom")) return;
        const std::string_view address = enclosure.attribute(Space::rss, "url");
        auto url = webAddress(base_, address);
        if (!url) {
            if (url.error() == AddressFault::otherScheme) strangeArchive_ = address;
            return;
        }
        const auto ofFramework = [&](std::string_view name) {
            return std::string{enclosure.attribute(Space::framework, name)};
        };
        Archive archive{.url = *std::move(url),
                        .length = readLength(enclosure.attribute(Space::rss, "length")),
                        .signature = ofFramework("edSignature"),
                        .os = ofFramework("os")};
        keepVersion(archive.versionString, ofFramework("version"));
        keepVersion(archive.displayVersionString, ofFramework("shortVersionString"));
        item_.archives.push_back(std::move(archive));
    }

    void readInformational(const Element& element) {
        auto& informational = item_.informational ? *item_.informational : item_.informational.emplace();
        element.forEachChild([&](const Element& child) {
            std::string version;
            keepVersion(version, child.text());
            if (version.empty()) return;
            if (child.is(Space::framework, "version")) informational.versions.push_back(version);
            if (child.is(Space::framework, "belowVersion")) informational.belowVersions.push_back(version);
        });
    }

    /// Of several, the one that holds for the most versions counts.
    void readCritical(const Element& element) {
        std::string below;
        keepVersion(below, std::string{element.attribute(Space::framework, "version")});
        auto& kept = item_.criticalBelow;
        if (!kept || below.empty() || (!kept->empty() && compareVersions(*kept, below) < 0)) kept = std::move(below);
    }

    void keepLink(std::string& field, const Element& element) {
        if (auto url = webAddress(base_, element.text()); url && field.empty()) field = *std::move(url);
    }

    /// The first one counts. One of absurd length would be compared again and again, and references to characters may
    /// stand for what is no text and for line feeds.
    void keepVersion(std::string& field, std::string version) {
        constexpr std::size_t maxBytes = 1024;
        isGarbled_ |= version.size() > maxBytes || !UTF8::isValid(version) || printable(version) != version;
        if (field.empty()) field = std::move(version);
    }

    std::string_view base_;
    Item item_;
    bool hasEnclosure_ = false;  ///< a delta, or one without an address, counts
    bool isGarbled_ = false;
    std::string strangeArchive_;
};

/// What is wrong with the feed before it is parsed, or nothing.
std::string objection(std::string_view text) {
    if (text.size() > maxAppcastBytes) return "the feed is larger than 16 MiB";
    if (trimmed(text).empty()) return "the feed is empty";
    const auto isControl = [](char byte) {
        return byte >= 0 && byte < ' ' && byte != '\t' && byte != '\n' && byte != '\r';
    };
    if (!UTF8::isValid(text) || std::ranges::any_of(text, isControl)) return "the feed is not text in UTF-8";
    const std::string head =
        lowercased(std::string{trimmed(text).substr(0, std::string_view{"<!doctype html"}.size())});
    if (head.starts_with("<html") || head == "<!doctype html") {
        return "there is a web page in place of the feed, such as that of a login";
    }
    // pugixml takes up to 130 bytes of memory for each of these, which a feed of short elements would multiply.
    constexpr std::ptrdiff_t maxMarks = 500'000;
    if (std::ranges::count(text, '<') + std::ranges::count(text, '=') > maxMarks) {
        return "the feed has too many elements and attributes";
    }
    return "";
}

/// What is wrong with the parsed document, or nothing.
std::string objection(const pugi::xml_document& document) {
    const pugi::xml_node root = document.document_element();
    for (const pugi::xml_node node : document.children()) {
        if (node.type() == pugi::node_declaration) {
            const std::string encoding = lowercased(node.attribute("encoding").value());
            if (!encoding.empty() && encoding != "utf-8" && encoding != "us-ascii") {
                return fmt::format("the feed is in {}, not in UTF-8", encoding);
            }
        }
        if (node.type() == pugi::node_doctype && std::string_view{node.value()}.contains('[')) {
            return "the feed declares entities of its own";
        }
        if (node.type() == pugi::node_element && node != root) return "there is more than one document in the feed";
    }
    if (!Element{root}.is(Space::rss, "rss")) {
        return fmt::format("this is no update feed: its outermost element is <{:.40}>, not <rss>", root.name());
    }
    return "";
}

}  // namespace

std::expected<Appcast, std::string> readAppcast(BytesView bytes, std::string_view base) {
    if (std::string wrong = objection(asText(bytes)); !wrong.empty()) return std::unexpected(std::move(wrong));
    std::string text{asText(bytes)};
    pugi::xml_document document;
    const auto parsed = document.load_buffer_inplace(
        text.data(), text.size(), pugi::parse_default | pugi::parse_doctype | pugi::parse_declaration,
        pugi::encoding_utf8);
    if (!parsed) {
        return std::unexpected(fmt::format("the feed is not a whole XML document: {} at byte {}",
                                           lowercased(parsed.description()), parsed.offset));
    }
    if (const std::string wrong = objection(document); !wrong.empty()) return std::unexpected(printable(wrong));

    Appcast appcast;
    std::string strangeArchive;
    bool hasChannel = false;
    const Element rss{document.document_element()};
    rss.forEachChild([&](const Element& channel) {
        if (!channel.is(Space::rss, "channel")) return;
        hasChannel = true;
        channel.forEachChild([&](const Element& each) {
            if (!each.is(Space::rss, "item")) return;
            ItemReader reader{each, base};
            if (strangeArchive.empty()) strangeArchive = reader.strangeArchive();
            if (reader.isWhole()) appcast.items.push_back(std::move(reader.item()));
        });
    });
    if (!hasChannel) return std::unexpected("this is no update feed: it has no channel");
    if (!strangeArchive.empty()) {
        return std::unexpected(fmt::format("the feed has an archive at an address that is not http or https: {:.200}",
                                           printable(strangeArchive)));
    }
    return appcast;
}

}  // namespace larkmoor

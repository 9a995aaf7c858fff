// What a scan and an edit promise, checked against the bytes alone, by a test over generated documents and by the fuzz
// targets. Each check returns what is broken, or nothing.
#pragma once

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/Broken.h"
#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONLayout.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::testing {

inline JSONDialect dialectOf(bool comments) { return comments ? JSONDialect::withComments : JSONDialect::strict; }

/// Nodes nest and lie in order, and what lies between them is punctuation, blanks, and the comments that were found:
/// the tree's own bytes, put together again, are those of the document without blanks and comments.
class Tiling {
  public:
    explicit Tiling(const JSONDocument& document)
        : bytes_(document.bytes()), plain_(asText(bytes_)), document_(document) {
        for (const ByteRange comment : document.comments()) {
            std::fill(plain_.begin() + comment.start, plain_.begin() + comment.end, ' ');
        }
    }

    Broken broken() {
        const JSONNode& root = document_.root();
        if (rebuilt(root) != compact({0, std::ssize(plain_)})) say(root.start, "the tree is not all");
        return broken_;
    }

  private:
    void say(std::int64_t at, const std::string& what) {
        if (!broken_) broken_ = what + " at byte " + std::to_string(at);
    }

    /// The range of the quoted text that begins there, without a look at its escapes.
    ByteRange quoted(std::int64_t start) const {
        const std::int64_t size = std::ssize(plain_);
        std::int64_t at = start + 1;
        while (at < size && plain_[static_cast<std::size_t>(at)] != '"') {
            at += plain_[static_cast<std::size_t>(at)] == '\\' ? 2 : 1;
        }
        return {start, std::min(at + 1, size)};
    }

    /// What stands in the range, without the blanks between its tokens.
    std::string compact(ByteRange range) const {
        std::string text;
        for (std::int64_t at = range.start; at < range.end;) {
            const char byte = plain_[static_cast<std::size_t>(at)];
            const ByteRange token = byte == '"' ? quoted(at) : ByteRange{at, at + 1};
            if (!std::string_view{" \t\n\r"}.contains(byte)) text += textOf(token, bytes_);
            at = token.end;
        }
        return text;
    }

    std::string rebuilt(ByteRange range, std::string_view decoded) {
        const std::string_view text = textOf(range, bytes_);
        if (!text.contains('\\') && text != JSONLiteral::quote(decoded)) say(range.start, "a string reads as another");
        return std::string{text};
    }

    /// What the node says, of its own bytes and those of what it holds.
    std::string rebuilt(const JSONNode& node) {
        std::string items;
        for (const JSONMember& member : node.members()) {
            items += rebuilt(quoted(member.keyStart), member.key) + ":" + rebuilt(member.value) + ",";
        }
        for (const JSONNode& element : node.elements()) items += rebuilt(element) + ",";
        if (!items.empty()) items.pop_back();
        const std::string text = compact(node.range());
        const std::string want = node.kind.visit(
            [&](const JSONKind::Object&) { return "{" + items + "}"; },
            [&](const JSONKind::Array&) { return "[" + items + "]"; },
            [&](const JSONKind::String& string) { return rebuilt(node.range(), string.text); },
            [&](const JSONKind::Bool& flag) { return std::string{flag.value ? "true" : "false"}; },
            [&](const JSONKind::Number&) { return text.substr(0, text.find_first_not_of("-+.eE0123456789")); },
            [&](const JSONKind::Null&) { return std::string{"null"}; });
        if (text != want) say(node.start, "a node is not what it holds");
        if (text.empty() || textOf(node.range(), bytes_).front() != text.front() ||
            textOf(node.range(), bytes_).back() != text.back()) {
            say(node.start, "a node begins or ends beside its text");
        }
        return text;
    }

    BytesView bytes_;
    std::string plain_;  ///< blanks in the place of the comments
    const JSONDocument& document_;
    Broken broken_;
};

/// Asks everything that holds of setting a member or adding an element, of taking it out again, and of taking out one
/// that was there.
class EditGuarantees {
  public:
    explicit EditGuarantees(const JSONDocument& document) : document_(document) {}

    /// Of the objects and arrays and their children, about `most` of each, spread over the document from the place of
    /// number `first` on. `name` is that of a member to add.
    Broken ofEveryPlace(std::string_view name, const JSONLiteral& literal, std::size_t most,
                        std::size_t first = 0) const {
        std::vector<JSONPath> places(1);  // the root
        collect({}, places);
        std::erase_if(places, [&](const JSONPath& path) {
            const JSONNode& node = *document_.root().node(path);
            return !node.isObject() && !(node.isArray() && document_.dialect() == JSONDialect::strict);
        });
        for (std::size_t asked = 0; asked < places.size(); asked += strideOver(places.size(), most)) {
            if (auto broken = ofPlace(places[(first + asked) % places.size()], name, literal, most)) return broken;
        }
        return std::nullopt;
    }

    /// Of removing the items for which `chosen` says so: all at once, in any order and with each given twice, leaves
    /// the bytes of removing one after the other in the order of the file.
    Broken ofRemovingAll(const std::function<bool()>& chosen) const {
        std::vector<JSONPath> all, items;
        collect({}, all);
        std::ranges::copy_if(all, std::back_inserter(items), [&](const JSONPath&) { return chosen(); });
        std::vector<JSONPath> given{items.rbegin(), items.rend()};
        given.insert(given.end(), items.begin(), items.end());
        const auto atOnce = JSONEdit::removeAll(document_, given);
        if (!document_.comments().empty()) return atOnce ? Broken{"a comment was not refused"} : std::nullopt;
        if (!atOnce) return "what is there cannot be removed: " + atOnce.error().description();
        return *atOnce == oneByOne(items) ? std::nullopt : Broken{"removing all at once gives other bytes"};
    }

  private:
    static std::vector<ByteRange> children(const JSONNode& container) {
        std::vector<ByteRange> ranges;
        for (const JSONMember& member : container.members()) ranges.push_back({member.keyStart, member.value.end});
        for (const JSONNode& element : container.elements()) ranges.push_back(element.range());
        return ranges;
    }

    /// The number of the child that the step leads to, which is one past the last where there is none.
    static std::size_t placeOf(const JSONStep& step, const JSONNode& container) {
        return step.visit(
            [&](const JSONStep::Key& key) {
                const auto members = container.members();
                const JSONMember* member = container.member(key.text);
                return member == nullptr ? members.size() : static_cast<std::size_t>(member - members.data());
            },
            [](const JSONStep::Index& index) { return static_cast<std::size_t>(index.value); });
    }

    static JSONStep stepTo(std::size_t place, const JSONNode& container) {
        return container.isObject() ? JSONStep{container.members()[place].key} : JSONStep{place};
    }

    /// The paths of all members and elements that a path leads to, in the order of the file.
    void collect(const JSONPath& path, std::vector<JSONPath>& into) const {
        const JSONNode& node = *document_.root().node(path);
        for (std::size_t place = 0; place < children(node).size(); ++place) {
            const JSONStep step = stepTo(place, node);
            if (placeOf(step, node) != place) continue;
            JSONPath longer = path;
            longer.push_back(step);
            into.push_back(longer);
            collect(longer, into);
        }
    }

    /// The document after the items, which are in the order of the file, were removed one after the other.
    JSONDocument oneByOne(std::vector<JSONPath> items) const {
        JSONDocument document = document_;
        while (!items.empty()) {
            JSONPath above = items.front();
            const JSONStep step = above.back();
            above.pop_back();
            document = removed(document, above, step).value();
            const auto isBelow = [&](const JSONPath& path) {
                return path.size() > above.size() && std::equal(above.begin(), above.end(), path.begin());
            };
            std::erase_if(items, [&](const JSONPath& path) { return isBelow(path) && path[above.size()] == step; });
            for (JSONPath& path : items) {
                const auto* index = isBelow(path) ? path[above.size()].as<JSONStep::Index>() : nullptr;
                if (index != nullptr) path[above.size()] = JSONStep{index->value - 1};
            }
        }
        return document;
    }

    Broken ofPlace(const JSONPath& path, std::string_view name, const JSONLiteral& literal, std::size_t most) const {
        const JSONNode& container = *document_.root().node(path);
        const std::size_t size = children(container).size();
        if (auto broken = ofSetting(path, container.isObject() ? JSONStep{name} : JSONStep{size}, literal))
            return broken;
        for (std::size_t place = 0; place < size; place += strideOver(size, most)) {
            const JSONStep step = stepTo(place, container);
            if (auto broken = ofRemoving(path, step)) return broken;
            if (!container.isObject()) continue;
            if (auto broken = ofSetting(path, step, literal)) return broken;
        }
        return std::nullopt;
    }

    JSONEdit::Result set(const JSONPath& path, const JSONStep& step, const JSONLiteral& to) const {
        return step.visit([&](const JSONStep::Key& key) { return JSONEdit::setMember(document_, path, key.text, to); },
                          [&](const JSONStep::Index&) { return JSONEdit::appendElement(document_, path, to); });
    }

    static JSONEdit::Result removed(const JSONDocument& from, const JSONPath& path, const JSONStep& step) {
        return step.visit(
            [&](const JSONStep::Key& key) { return JSONEdit::removeMember(from, path, key.text); },
            [&](const JSONStep::Index& index) { return JSONEdit::removeElement(from, path, index.value); });
    }

    Broken ofSetting(const JSONPath& path, const JSONStep& step, const JSONLiteral& literal) const {
        const JSONNode& container = *document_.root().node(path);
        const JSONNode* old = container.node({step});
        const auto result = set(path, step, literal);
        if (!result) {
            // Rightly only for a literal that would lie too deep, and ours has few levels.
            const bool isDeep = path.size() + 4 > std::size_t{JSONText::depthLimit};
            if (isDeep && result.error().description().starts_with("the document nests deeper")) return std::nullopt;
            return "refused: " + result.error().description();
        }
        const ByteRange range = old == nullptr ? rangeOfAdding(container) : old->range();
        const std::size_t place = placeOf(step, container);
        if (auto broken = ofTheRest(*result, path, range, place, old == nullptr ? ByteRange{} : range)) return broken;
        const JSONNode* now = result->root().node(path)->node({step});
        if (now == nullptr || now->value(result->bytes()) != literal.value())
            return "what was set reads as another value";
        return old == nullptr ? ofTakingOut(*result, path, step) : std::nullopt;
    }

    Broken ofRemoving(const JSONPath& path, const JSONStep& step) const {
        const JSONNode& container = *document_.root().node(path);
        const auto result = removed(document_, path, step);
        if (!result) return "what is there cannot be removed: " + result.error().description();
        const std::size_t place = placeOf(step, container);
        const ByteRange range = rangeOfRemoving(container, place);
        const auto left = std::ssize(document_.bytes()) - (range.end - range.start);
        if (document_.comments().empty() && std::ssize(result->bytes()) != left) return "not the range alone went";
        return ofTheRest(*result, path, range, place, std::nullopt);
    }

    /// A container that had children comes back to the byte; so does an empty one without blanks, or one of one line
    /// that holds a comment.
    Broken ofTakingOut(const JSONDocument& with, const JSONPath& path, const JSONStep& step) const {
        const JSONNode& container = *document_.root().node(path);
        const auto back = removed(with, path, step);
        if (!back) return "what was set cannot be removed: " + back.error().description();
        const ByteRange interior{container.start + 1, container.end - 1};
        const bool oneLine = !JSONLayout::spansLines(document_.bytes(), interior);
        const bool comesBack = !children(container).empty() || interior.start == interior.end ||
                               (oneLine && JSONComments::count(document_.comments(), interior) > 0);
        if (comesBack && *back != document_) return "removing it does not give back the document";
        return std::nullopt;
    }

    /// Only the range changed, and every child but that of the place and every comment is there. `replaced` is what
    /// gave place to a child that was set, and nothing after a removal.
    Broken ofTheRest(const JSONDocument& result, const JSONPath& path, ByteRange range, std::size_t place,
                     std::optional<ByteRange> replaced) const {
        if (auto broken = changedOutside(range, document_.bytes(), result.bytes())) return broken;
        const JSONNode* now = result.root().node(path);
        if (now == nullptr) return "the container is not there";
        auto before = children(*document_.root().node(path)), after = children(*now);
        if (place < before.size()) before.erase(before.begin() + static_cast<std::ptrdiff_t>(place));
        if (replaced && place < after.size()) after.erase(after.begin() + static_cast<std::ptrdiff_t>(place));
        if (texts(before, document_) != texts(after, result)) return "another child changed";
        std::vector<ByteRange> comments{document_.comments().begin(), document_.comments().end()};
        const auto gone = JSONComments::inside(document_.comments(), replaced.value_or(ByteRange{}));
        std::erase_if(comments, [&](ByteRange comment) { return std::ranges::find(gone, comment) != gone.end(); });
        if (texts(comments, document_) != texts(result.comments(), result)) return "a comment changed";
        return std::nullopt;
    }

    /// Blanks at the end of a line comment are not counted: it may gain those that stood between it and its line's end.
    static std::vector<std::string_view> texts(std::span<const ByteRange> ranges, const JSONDocument& document) {
        std::vector<std::string_view> result;
        for (const ByteRange range : ranges) {
            std::string_view& text = result.emplace_back(textOf(range, document.bytes()));
            if (text.starts_with("//")) text = text.substr(0, text.find_last_not_of(" \t\r") + 1);
        }
        return result;
    }

    /// The end of the last comment between the two places, or the first of them.
    std::int64_t behindComments(std::int64_t from, std::int64_t to) const {
        const auto comments = JSONComments::inside(document_.comments(), {from, to});
        return comments.empty() ? from : comments.back().end;
    }

    /// Directly behind the last child, or all blanks of a container that has none.
    ByteRange rangeOfAdding(const JSONNode& container) const {
        const auto all = children(container);
        if (!all.empty()) return {all.back().end, all.back().end};
        return {behindComments(container.start + 1, container.end - 1), container.end - 1};
    }

    /// The child with one comma, or if it is the only one all that no comment holds apart.
    ByteRange rangeOfRemoving(const JSONNode& container, std::size_t place) const {
        const auto all = children(container);
        if (place > 0) return {all[place - 1].end, all[place].end};
        if (all.size() > 1) return {all[0].start, all[1].start};
        const ByteRange interior{container.start + 1, container.end - 1};
        if (JSONComments::count(document_.comments(), interior) == 0) return interior;
        if (!JSONLayout::spansLines(document_.bytes(), interior)) return all[0];
        return {behindComments(interior.start, all[0].start), all[0].end};
    }

    const JSONDocument& document_;
};

}  // namespace larkmoor::testing

// What a scan and an edit promise, checked against the bytes alone. The tests over generated documents and the fuzz
// targets ask the same questions. Each check answers with what is broken, or nothing.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/Broken.h"
#include "LarkmoorConnectors/ConfigFile/JSONComments.h"
#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONLayout.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::testing {

inline JSONDialect dialectOf(bool comments) { return comments ? JSONDialect::withComments : JSONDialect::strict; }

/// Walks the document beside its tree: nodes nest and lie in order, and what lies between them is punctuation, blanks,
/// and the comments that were found.
class Tiling {
  public:
    Tiling(BytesView bytes, const JSONScan& scan) : bytes_(bytes), text_(asText(bytes)), scan_(scan) {}

    Broken broken() {
        trivia();
        node(scan_.root);
        trivia();
        if (at_ != std::ssize(text_)) say("the tree ends before the document");
        if (comment_ != scan_.comments.size()) say("a comment lies inside a value");
        return broken_;
    }

  private:
    void say(const std::string& what) {
        if (!broken_) broken_ = what + " at byte " + std::to_string(at_);
    }

    std::string_view rest() const { return text_.substr(static_cast<std::size_t>(std::min(at_, std::ssize(text_)))); }

    void take(std::string_view text) {
        if (!rest().starts_with(text)) say("no " + std::string{text});
        at_ += std::ssize(text);
    }

    void trivia() {
        while (!rest().empty() && !broken_) {
            if (std::string_view{" \t\n\r"}.contains(rest().front())) {
                ++at_;
            } else if (comment_ < scan_.comments.size() && scan_.comments[comment_].start == at_) {
                comment(scan_.comments[comment_++]);
            } else {
                return;
            }
        }
    }

    void comment(ByteRange range) {
        const std::string_view comment = JSONLayout::textOf(range, bytes_);
        at_ = range.end;
        const bool line = comment.starts_with("//") && !comment.contains('\n') &&
                          (rest().empty() || rest().starts_with('\n') || rest().starts_with("\r\n"));
        const bool block =
            comment.size() >= 4 && comment.starts_with("/*") && comment.find("*/", 2) == comment.size() - 2;
        if (!line && !block) say("this is no comment: " + std::string{comment});
    }

    /// Past a quoted text that decodes to this one.
    void string(std::string_view decoded) {
        const std::int64_t start = at_;
        take("\"");
        while (!rest().empty() && rest().front() != '"') at_ += rest().front() == '\\' ? 2 : 1;
        take("\"");
        if (broken_) return;
        const std::string_view written = JSONLayout::textOf({start, at_}, bytes_);
        if (!written.contains('\\') && written != JSONLiteral::quote(decoded)) say("a string reads as another");
    }

    void number(std::string_view written) {
        if (written.find_first_not_of("-+.eE0123456789") != std::string_view::npos) say("this is no number");
        at_ += std::ssize(written);
    }

    void node(const JSONNode& node) {
        if (broken_) return;
        if (node.start != at_) return say("a value does not begin where the one before it ends");
        node.kind.visit([&](const JSONKind::Object& object) { list("{", object.members, "}"); },
                        [&](const JSONKind::Array& array) { list("[", array.elements, "]"); },
                        [&](const JSONKind::String& held) { string(held.text); },
                        [&](const JSONKind::Bool& held) { take(held.value ? "true" : "false"); },
                        [&](const JSONKind::Number&) { number(JSONLayout::textOf(node.range(), bytes_)); },
                        [&](const JSONKind::Null&) { take("null"); });
        if (node.end != at_) say("a value does not end where its text does");
    }

    void node(const JSONMember& member) {
        if (member.keyStart != at_) say("a name does not begin where the value before it ends");
        string(member.key);
        trivia();
        take(":");
        trivia();
        node(member.value);
    }

    template <class Item>
    void list(std::string_view opening, std::span<const Item> items, std::string_view closing) {
        take(opening);
        trivia();
        for (const Item& item : items) {
            if (&item != &items.front()) {
                take(",");
                trivia();
            }
            node(item);
            trivia();
        }
        take(closing);
    }

    BytesView bytes_;
    std::string_view text_;
    const JSONScan& scan_;
    std::size_t comment_ = 0;
    std::int64_t at_ = 0;
    Broken broken_;
};

/// Asks everything that holds of setting a member or adding an element, of taking it out again, and of taking out one
/// that was there.
class EditGuarantees {
  public:
    EditGuarantees(BytesView document, const JSONScan& scan, JSONDialect dialect)
        : document_(document), scan_(scan), dialect_(dialect) {}

    /// Of the objects and arrays and their children, about `most` of each, spread over the document from the place of
    /// number `first` on. `name` is that of a member to add.
    Broken ofEveryPlace(std::string_view name, const JSONLiteral& literal, std::size_t most,
                        std::size_t first = 0) const {
        std::vector<JSONPath> places;
        collect({}, places);
        for (std::size_t asked = 0; asked < places.size(); asked += strideOver(places.size(), most)) {
            if (auto broken = ofPlace(places[(first + asked) % places.size()], name, literal, most)) return broken;
        }
        return std::nullopt;
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
        return container.isObject() ? JSONStep{container.members()[place].key.view()} : JSONStep{place};
    }

    /// The paths of all objects and arrays that can be edited.
    void collect(const JSONPath& path, std::vector<JSONPath>& into) const {
        const JSONNode& node = *scan_.root.node(path);
        if (node.isObject() || (node.isArray() && dialect_ == JSONDialect::strict)) into.push_back(path);
        for (std::size_t place = 0; place < children(node).size(); ++place) {
            const JSONStep step = stepTo(place, node);
            if (placeOf(step, node) != place) continue;
            JSONPath longer = path;
            longer.push_back(step);
            collect(longer, into);
        }
    }

    Broken ofPlace(const JSONPath& path, std::string_view name, const JSONLiteral& literal, std::size_t most) const {
        const JSONNode& container = *scan_.root.node(path);
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
        return step.visit(
            [&](const JSONStep::Key& key) { return JSONEdit::setMember(document_, path, key.text, to, dialect_); },
            [&](const JSONStep::Index&) { return JSONEdit::appendElement(document_, path, to); });
    }

    JSONEdit::Result removed(BytesView from, const JSONPath& path, const JSONStep& step) const {
        return step.visit(
            [&](const JSONStep::Key& key) { return JSONEdit::removeMember(from, path, key.text, dialect_); },
            [&](const JSONStep::Index& index) { return JSONEdit::removeElement(from, path, index.value); });
    }

    Broken ofSetting(const JSONPath& path, const JSONStep& step, const JSONLiteral& literal) const {
        const JSONNode& container = *scan_.root.node(path);
        const JSONNode* old = container.node({step});
        const auto result = set(path, step, literal);
        if (!result) return refusedOnlyForDepth(result.error(), path, literal);
        const ByteRange range = old == nullptr ? rangeOfAdding(container) : old->range();
        const std::size_t place = placeOf(step, container);
        if (auto broken = ofTheRest(*result, path, range, place, old == nullptr ? ByteRange{} : range)) return broken;
        const auto again = JSONText::scanWithTrivia(*result, dialect_);
        const JSONNode* now = again->root.node(path)->node({step});
        if (now == nullptr || now->value(*result) != literal.value()) return "what was set reads as another value";
        return old == nullptr ? ofTakingOut(*result, path, step) : std::nullopt;
    }

    Broken ofRemoving(const JSONPath& path, const JSONStep& step) const {
        const JSONNode& container = *scan_.root.node(path);
        const auto result = removed(document_, path, step);
        if (!result) return "what is there cannot be removed: " + result.error().description();
        const std::size_t place = placeOf(step, container);
        return ofTheRest(*result, path, rangeOfRemoving(container, place), place, std::nullopt);
    }

    /// A container that had children comes back to the byte; so does an empty one without blanks, or one of one line
    /// that holds a comment.
    Broken ofTakingOut(BytesView with, const JSONPath& path, const JSONStep& step) const {
        const JSONNode& container = *scan_.root.node(path);
        const auto back = removed(with, path, step);
        if (!back) return "what was set cannot be removed: " + back.error().description();
        const ByteRange interior{container.start + 1, container.end - 1};
        const bool oneLine = !JSONLayout::spansLines(document_, interior);
        const bool comesBack = !children(container).empty() || interior.start == interior.end ||
                               (oneLine && JSONComments::count(scan_.comments, interior) > 0);
        if (comesBack && asText(*back) != asText(document_)) return "removing it does not give back the document";
        return std::nullopt;
    }

    /// Only the range changed, and every child but that of the place and every comment is there. `replaced` is what
    /// gave place to a child that was set, and nothing after a removal.
    Broken ofTheRest(BytesView result, const JSONPath& path, ByteRange range, std::size_t place,
                     std::optional<ByteRange> replaced) const {
        if (auto broken = changedOutside(range, document_, result)) return broken;
        const auto again = JSONText::scanWithTrivia(result, dialect_);
        if (!again) return "the result does not scan: " + again.error().description();
        const JSONNode* now = again->root.node(path);
        if (now == nullptr) return "the container is not there";
        auto before = children(*scan_.root.node(path)), after = children(*now);
        if (place < before.size()) before.erase(before.begin() + static_cast<std::ptrdiff_t>(place));
        if (replaced && place < after.size()) after.erase(after.begin() + static_cast<std::ptrdiff_t>(place));
        if (texts(before, document_) != texts(after, result)) return "another child changed";
        auto comments = scan_.comments;
        const auto gone = JSONComments::inside(scan_.comments, replaced.value_or(ByteRange{}));
        std::erase_if(comments, [&](ByteRange comment) { return std::ranges::find(gone, comment) != gone.end(); });
        if (texts(comments, document_) != texts(again->comments, result)) return "a comment changed";
        return std::nullopt;
    }

    /// Blanks at the end of a line comment are not counted: it may gain those that stood between it and its line's end.
    static std::vector<std::string_view> texts(std::span<const ByteRange> ranges, BytesView document) {
        std::vector<std::string_view> result;
        for (const ByteRange range : ranges) {
            std::string_view& text = result.emplace_back(JSONLayout::textOf(range, document));
            if (text.starts_with("//")) text = text.substr(0, text.find_last_not_of(" \t\r") + 1);
        }
        return result;
    }

    /// How many objects and arrays lie within each other.
    static std::size_t levels(const JSONNode& node) {
        std::size_t below = 0;
        for (const JSONMember& member : node.members()) below = std::max(below, levels(member.value));
        for (const JSONNode& element : node.elements()) below = std::max(below, levels(element));
        return below + (node.isObject() || node.isArray() ? 1 : 0);
    }

    /// The one edit of a document that scans which is refused: its literal would lie too deep.
    static Broken refusedOnlyForDepth(const JSONEditFailure& failure, const JSONPath& path,
                                      const JSONLiteral& literal) {
        const auto scan = JSONText::scanWithTrivia(asBytes(literal.render("", "", {})), JSONDialect::strict);
        const bool tooDeep = scan && path.size() + 1 + levels(scan->root) > std::size_t{JSONText::depthLimit};
        if (tooDeep && failure.description().starts_with("the document nests deeper than 64 levels")) return {};
        return "refused: " + failure.description();
    }

    /// The end of the last comment between the two places, or the first of them.
    std::int64_t behindComments(std::int64_t from, std::int64_t to) const {
        const auto comments = JSONComments::inside(scan_.comments, {from, to});
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
        if (JSONComments::count(scan_.comments, interior) == 0) return interior;
        if (!JSONLayout::spansLines(document_, interior)) return all[0];
        return {behindComments(interior.start, all[0].start), all[0].end};
    }

    BytesView document_;
    const JSONScan& scan_;
    JSONDialect dialect_;
};

}  // namespace larkmoor::testing

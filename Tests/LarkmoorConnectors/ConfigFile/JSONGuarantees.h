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

    bool has(char byte) const { return at_ < std::ssize(text_) && text_[static_cast<std::size_t>(at_)] == byte; }

    void take(char byte) {
        if (has(byte))
            ++at_;
        else
            say(std::string{"no "} + byte);
    }

    void trivia() {
        while (at_ < std::ssize(text_) && !broken_) {
            if (has(' ') || has('\t') || has('\n') || has('\r')) {
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
        const std::string_view behind = text_.substr(static_cast<std::size_t>(range.end));
        const bool line = comment.starts_with("//") && !comment.contains('\n') &&
                          (behind.empty() || behind.starts_with('\n') || behind.starts_with("\r\n"));
        const bool block =
            comment.size() >= 4 && comment.starts_with("/*") && comment.find("*/", 2) == comment.size() - 2;
        if (!line && !block) say("this is no comment: " + std::string{comment});
        at_ = range.end;
    }

    /// Past a quoted text that decodes to this one.
    void string(std::string_view decoded) {
        const std::int64_t start = at_;
        take('"');
        while (at_ < std::ssize(text_) && !has('"')) at_ += has('\\') ? 2 : 1;
        take('"');
        const std::string quoted = JSONLiteral::quote(decoded);
        const std::string_view written = JSONLayout::textOf({start, at_}, bytes_);
        if (!written.contains('\\') && written != quoted && !decoded.contains('\x7f')) say("a string reads as another");
    }

    void node(const JSONNode& node) {
        if (broken_) return;
        if (node.start != at_) return say("a value does not begin where the one before it ends");
        node.kind.visit([&](const JSONKind::Object& object) { members(object.members); },
                        [&](const JSONKind::Array& array) { elements(array.elements); },
                        [&](const JSONKind::String& held) { string(held.text); },
                        [&](const JSONKind::Bool& held) { scalar(node, held.value ? "true" : "false"); },
                        [&](const JSONKind::Number&) {
                            if (JSONLayout::textOf(node.range(), bytes_).find_first_not_of("-+.eE0123456789") !=
                                std::string_view::npos) {
                                say("this is no number");
                            }
                            at_ = node.end;
                        },
                        [&](const JSONKind::Null&) { scalar(node, "null"); });
        if (!broken_ && node.end != at_) say("a value does not end where its text does");
    }

    void scalar(const JSONNode& node, std::string_view text) {
        if (JSONLayout::textOf(node.range(), bytes_) != text) say("this is not " + std::string{text});
        at_ = node.end;
    }

    void members(std::span<const JSONMember> members) {
        take('{');
        trivia();
        for (const JSONMember& member : members) {
            if (&member != &members.front()) separator();
            if (member.keyStart != at_) say("a name does not begin where the value before it ends");
            string(member.key);
            trivia();
            take(':');
            trivia();
            node(member.value);
            trivia();
        }
        take('}');
    }

    void elements(std::span<const JSONNode> elements) {
        take('[');
        trivia();
        for (const JSONNode& element : elements) {
            if (&element != &elements.front()) separator();
            node(element);
            trivia();
        }
        take(']');
    }

    void separator() {
        take(',');
        trivia();
    }

    BytesView bytes_;
    std::string_view text_;
    const JSONScan& scan_;
    std::size_t comment_ = 0;
    std::int64_t at_ = 0;
    Broken broken_;
};

/// The texts of these comments, in order. Blanks at the end of a line comment are not counted: it may gain those that
/// stood between it and its line's end.
inline std::vector<std::string> texts(std::span<const ByteRange> comments, BytesView document) {
    std::vector<std::string> result;
    for (const ByteRange comment : comments) {
        std::string& text = result.emplace_back(JSONLayout::textOf(comment, document));
        if (text.starts_with("//")) text.erase(text.find_last_not_of(" \t\r") + 1);
    }
    return result;
}

/// The bytes of each member or element of a container, in order, the one at `leftOut` excepted.
inline std::vector<std::string> children(const JSONNode& container, BytesView document,
                                         std::optional<std::size_t> leftOut = std::nullopt) {
    std::vector<std::string> result;
    const auto add = [&](ByteRange range) { result.emplace_back(JSONLayout::textOf(range, document)); };
    for (const JSONMember& member : container.members()) add({member.keyStart, member.value.end});
    for (const JSONNode& element : container.elements()) add(element.range());
    if (leftOut && *leftOut < result.size()) result.erase(result.begin() + static_cast<std::ptrdiff_t>(*leftOut));
    return result;
}

/// Asks everything that holds of setting a member, of taking it out again, and of taking out one that was there.
class EditGuarantees {
  public:
    EditGuarantees(BytesView document, const JSONScan& scan, JSONDialect dialect)
        : document_(document), scan_(scan), dialect_(dialect) {}

    Broken ofSetting(const JSONPath& path, std::string_view key, const JSONLiteral& literal) const {
        const JSONNode& object = *scan_.root.node(path);
        const JSONMember* old = object.member(key);
        const auto result = JSONEdit::setMember(document_, path, key, literal, dialect_);
        if (!result) return refusedOnlyForDepth(result.error(), path, literal);
        const auto again = JSONText::scanWithTrivia(*result, dialect_);
        if (!again) return "the result does not scan: " + again.error().description();
        const ByteRange range = old == nullptr ? rangeOfAdding(object) : old->value.range();
        if (auto broken = changedOutside(range, document_, *result)) return broken;
        const JSONNode* now = again->root.node(path);
        const JSONMember* set = now == nullptr ? nullptr : now->member(key);
        if (set == nullptr) return "the member is not there";
        if (set->value.value(*result) != literal.value()) return "the member reads as another value";
        const auto members = object.members();
        const std::size_t place = old == nullptr ? members.size() : static_cast<std::size_t>(old - members.data());
        if (children(object, document_, place) != children(*now, *result, place)) return "another member changed";
        if (old == nullptr && texts(scan_.comments, document_) != texts(again->comments, *result))
            return "a comment changed";
        return old == nullptr ? ofTakingOut(*result, path, key, object) : std::nullopt;
    }

    Broken ofRemoving(const JSONPath& path, std::size_t index) const {
        const JSONNode& object = *scan_.root.node(path);
        const std::string key{object.members()[index].key.view()};
        const std::size_t first = static_cast<std::size_t>(object.member(key) - object.members().data());
        const auto result = JSONEdit::removeMember(document_, path, key, dialect_);
        if (!result) return "a member cannot be removed: " + result.error().description();
        return afterRemoval(*result, path, first);
    }

    Broken ofRemovingElement(const JSONPath& path, std::size_t index) const {
        const auto result = JSONEdit::removeElement(document_, path, static_cast<std::int64_t>(index));
        if (!result) return "an element cannot be removed: " + result.error().description();
        return afterRemoval(*result, path, index);
    }

    Broken ofAppending(const JSONPath& path, const JSONLiteral& literal) const {
        const JSONNode& array = *scan_.root.node(path);
        const auto result = JSONEdit::appendElement(document_, path, literal);
        if (!result) return refusedOnlyForDepth(result.error(), path, literal);
        if (auto broken = changedOutside(rangeOfAdding(array), document_, *result)) return broken;
        const auto again = JSONText::scanWithTrivia(*result, dialect_);
        if (!again) return "the result does not scan: " + again.error().description();
        const JSONNode* now = again->root.node(path);
        const std::size_t last = array.elements().size();
        if (now == nullptr || now->elements().size() != last + 1) return "the element is not there";
        if (now->elements()[last].value(*result) != literal.value()) return "the element reads as another value";
        if (children(array, document_) != children(*now, *result, last)) return "another element changed";
        if (last == 0) return std::nullopt;
        const auto back = JSONEdit::removeElement(*result, path, static_cast<std::int64_t>(last));
        if (!back || asText(*back) != asText(document_)) return "removing the element does not give back the document";
        return std::nullopt;
    }

  private:
    /// How many objects and arrays lie within each other.
    static std::size_t levels(const JSONLiteral& literal) {
        std::size_t below = 0;
        const auto look = [&](const JSONLiteral& inner) { below = std::max(below, levels(inner)); };
        return literal.visit(
            [&](const JSONLiteral::Object& object) {
                for (const JSONLiteral::Member& member : object.members) look(member.value);
                return below + 1;
            },
            [&](const JSONLiteral::Array& array) {
                for (const JSONLiteral& element : array.elements) look(element);
                return below + 1;
            },
            [&](const JSONLiteral::String&) { return below; }, [&](const JSONLiteral::Number&) { return below; },
            [&](const JSONLiteral::Bool&) { return below; });
    }

    /// The one edit of a document that scans which is refused: its literal would lie too deep.
    static Broken refusedOnlyForDepth(const JSONEditFailure& failure, const JSONPath& path,
                                      const JSONLiteral& literal) {
        const bool tooDeep = path.size() + 1 + levels(literal) > static_cast<std::size_t>(JSONText::depthLimit);
        if (tooDeep && failure.description().starts_with("the document nests deeper than 64 levels")) return {};
        return "refused: " + failure.description();
    }

    static std::vector<ByteRange> ranges(const JSONNode& container) {
        std::vector<ByteRange> result;
        for (const JSONMember& member : container.members()) result.push_back({member.keyStart, member.value.end});
        for (const JSONNode& element : container.elements()) result.push_back(element.range());
        return result;
    }

    /// The end of the last comment between the two places, or the first of them.
    std::int64_t behindComments(std::int64_t from, std::int64_t to) const {
        const auto comments = JSONComments::inside(scan_.comments, {from, to});
        return comments.empty() ? from : comments.back().end;
    }

    /// Directly behind the last child, or all blanks of a container that has none.
    ByteRange rangeOfAdding(const JSONNode& container) const {
        const auto all = ranges(container);
        if (!all.empty()) return {all.back().end, all.back().end};
        return {behindComments(container.start + 1, container.end - 1), container.end - 1};
    }

    /// The child with one comma, or if it is the only one all that no comment holds apart.
    ByteRange rangeOfRemoving(const JSONNode& container, std::size_t index) const {
        const auto all = ranges(container);
        if (index > 0) return {all[index - 1].end, all[index].end};
        if (all.size() > 1) return {all[0].start, all[1].start};
        const ByteRange interior{container.start + 1, container.end - 1};
        if (JSONComments::count(scan_.comments, interior) == 0) return interior;
        if (!JSONLayout::spansLines(document_, interior)) return all[0];
        return {behindComments(interior.start, all[0].start), all[0].end};
    }

    Broken afterRemoval(BytesView result, const JSONPath& path, std::size_t index) const {
        const JSONNode& container = *scan_.root.node(path);
        if (auto broken = changedOutside(rangeOfRemoving(container, index), document_, result)) return broken;
        const auto again = JSONText::scanWithTrivia(result, dialect_);
        if (!again) return "the result does not scan: " + again.error().description();
        const JSONNode* now = again->root.node(path);
        if (now == nullptr || children(container, document_, index) != children(*now, result))
            return "another child changed";
        if (texts(scan_.comments, document_) != texts(again->comments, result)) return "a comment changed";
        return std::nullopt;
    }

    /// An object that had members comes back to the byte; so does an empty one without blanks, or on one line.
    Broken ofTakingOut(BytesView with, const JSONPath& path, std::string_view key, const JSONNode& object) const {
        const auto back = JSONEdit::removeMember(with, path, key, dialect_);
        if (!back) return "what was set cannot be removed: " + back.error().description();
        const ByteRange interior{object.start + 1, object.end - 1};
        const bool comments = JSONComments::count(scan_.comments, interior) > 0;
        const bool oneLine = !JSONLayout::spansLines(document_, interior);
        const bool comesBack = !object.members().empty() || (comments ? oneLine : interior.start == interior.end);
        if (comesBack && asText(*back) != asText(document_))
            return "removing the member does not give back the document";
        return std::nullopt;
    }

    BytesView document_;
    const JSONScan& scan_;
    JSONDialect dialect_;
};

}  // namespace larkmoor::testing

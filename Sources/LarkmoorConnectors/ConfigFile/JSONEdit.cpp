#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "LarkmoorConnectors/ConfigFile/JSONComments.h"
#include "LarkmoorConnectors/ConfigFile/JSONLayout.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "LarkmoorConnectors/ConfigFile/LineEnding.h"
#include "LarkmoorConnectors/ConfigFile/Splice.h"

namespace larkmoor {

namespace {

using Plan = std::expected<Splice, JSONEditError>;

ByteRange rangeOf(const JSONMember& member) { return {member.keyStart, member.value.end}; }
ByteRange rangeOf(const JSONNode& element) { return element.range(); }

/// Between the brackets of an object or an array.
ByteRange interiorOf(const JSONNode& container) { return {container.start + 1, container.end - 1}; }

/// What one of several goes with: the comma before it, or behind it if it is the first.
template <class Item>
ByteRange goingWith(std::span<const Item> items, std::size_t index) {
    if (index > 0) return {rangeOf(items[index - 1]).end, rangeOf(items[index]).end};
    return {rangeOf(items[0]).start, rangeOf(items[1]).start};
}

/// A document that scanned, and the measurements and decisions that each edit takes from it.
class Document {
  public:
    Document(BytesView bytes, const JSONScan& scan)
        : bytes_(bytes),
          root_(scan.root),
          comments_(scan.comments),
          newline_(lineEnding(bytes)),
          unit_(JSONLayout::indentUnit(bytes, scan.root)) {}

    std::expected<const JSONNode*, JSONEditError> objectAt(const JSONPath& path) const {
        const JSONNode* node = root_.node(path);
        if (node == nullptr || !node->isObject()) return std::unexpected{JSONEditError::NotAnObject{path}};
        return node;
    }

    std::expected<const JSONNode*, JSONEditError> arrayAt(const JSONPath& path) const {
        const JSONNode* node = root_.node(path);
        if (node == nullptr || !node->isArray()) return std::unexpected{JSONEditError::NotAnArray{path}};
        return node;
    }

    /// The value's bytes give place to the literal; its container decides whether that spreads.
    Splice replacing(const JSONNode& value, std::int64_t lineOf, const JSONNode& container,
                     const JSONLiteral& by) const {
        const RenderStyle style{JSONLayout::spansLines(bytes_, container.range()), std::string{newline_}};
        return {value.range(), by.render(JSONLayout::lineIndent(bytes_, lineOf), unit_, style)};
    }

    /// A new item behind one that is there, with the blanks that stand before that one.
    Splice behind(ByteRange item, std::optional<std::string_view> key, const JSONLiteral& literal) const {
        const auto [prefix, indent, style] = JSONLayout::insertionPrefix(bytes_, item.start, newline_);
        std::string text = ",";
        text += prefix;
        text += rendered(key, literal, indent, style);
        return {{item.end, item.end}, std::move(text)};
    }

    /// The first item of an empty container, in the place of all blanks inside it.
    Splice filling(const JSONNode& container, std::optional<std::string_view> key, const JSONLiteral& literal) const {
        const bool spread = asText(bytes_).contains('\n');
        return {interiorOf(container), spread ? onLineOfItsOwn(container, key, literal) : onOneLine(key, literal)};
    }

    /// The first member of an object that holds comments; it comes behind them.
    Splice joiningComments(const JSONNode& object, std::string_view key, const JSONLiteral& literal) const {
        const ByteRange interior = interiorOf(object);
        if (!JSONLayout::spansLines(bytes_, interior)) return {{interior.end, interior.end}, onOneLine(key, literal)};
        const std::int64_t blanks = blanksBefore(interior.end, interior);
        return {{blanks, interior.end}, onLineOfItsOwn(object, key, literal)};
    }

    bool hasComments(ByteRange range) const { return JSONComments::count(comments_, range) > 0; }

    Splice removing(ByteRange range) const {
        return {range, JSONComments::preserved(bytes_, range, comments_, newline_)};
    }

    /// What goes with an object's only member. A comment keeps the braces apart.
    ByteRange onlyMember(const JSONNode& object) const {
        const ByteRange interior = interiorOf(object);
        if (!hasComments(interior)) return interior;
        const ByteRange member = rangeOf(object.members().front());
        if (!JSONLayout::spansLines(bytes_, interior)) return member;
        return {blanksBefore(member.start, interior), member.end};
    }

  private:
    std::string rendered(std::optional<std::string_view> key, const JSONLiteral& literal, std::string_view indent,
                         const RenderStyle& style) const {
        std::string text;
        if (key) text = JSONLiteral::quote(*key) + (style.spread ? ": " : ":");
        return text + literal.render(indent, unit_, style);
    }

    std::string onOneLine(std::optional<std::string_view> key, const JSONLiteral& literal) const {
        return rendered(key, literal, "", {.spread = false, .newline = std::string{newline_}});
    }

    /// With the line ending before it, and the closing bracket's line begun behind it.
    std::string onLineOfItsOwn(const JSONNode& container, std::optional<std::string_view> key,
                               const JSONLiteral& literal) const {
        const RenderStyle style{.spread = true, .newline = std::string{newline_}};
        const std::string indent{JSONLayout::lineIndent(bytes_, container.start)};
        std::string inner = indent;
        inner += unit_;
        return style.newline + inner + rendered(key, literal, inner, style) + style.newline + indent;
    }

    /// Where the blanks begin that end at the offset, inside the container. Those at the end of a line comment are its
    /// own, and stay with it.
    std::int64_t blanksBefore(std::int64_t offset, ByteRange interior) const {
        const auto earlier = JSONComments::inside(comments_, {interior.start, offset});
        const std::int64_t least = earlier.empty() ? interior.start : earlier.back().end;
        return std::max(JSONLayout::whitespaceRun(bytes_, offset).start, least);
    }

    BytesView bytes_;
    const JSONNode& root_;
    std::span<const ByteRange> comments_;
    std::string_view newline_;
    std::string_view unit_;
};

/// Scans, plans one splice, applies it, and scans again: a literal may be too much for the place where it lands.
template <class MakePlan>
JSONEdit::Result edited(BytesView bytes, JSONDialect dialect, MakePlan makePlan) {
    const auto scan = JSONText::scanWithTrivia(bytes, dialect);
    if (!scan) return std::unexpected{JSONEditFailure{scan.error()}};
    const Plan plan = makePlan(Document{bytes, *scan});
    if (!plan) return std::unexpected{JSONEditFailure{plan.error()}};
    Bytes result = apply(*plan, bytes);
    if (const auto again = JSONText::scanWithTrivia(result, dialect); !again) {
        return std::unexpected{JSONEditFailure{again.error()}};
    }
    return result;
}

/// The same for an element that has to be there; the plan is also given its array.
template <class MakePlan>
JSONEdit::Result editedElement(BytesView bytes, const JSONPath& at, std::int64_t index, MakePlan makePlan) {
    return edited(bytes, JSONDialect::strict, [&](const Document& document) -> Plan {
        const auto array = document.arrayAt(at);
        if (!array) return std::unexpected{array.error()};
        if (index < 0 || index >= std::ssize((*array)->elements())) {
            return std::unexpected{JSONEditError::NoSuchElement{at, index}};
        }
        return makePlan(document, **array, static_cast<std::size_t>(index));
    });
}

}  // namespace

JSONEdit::Result JSONEdit::setMember(BytesView bytes, const JSONPath& at, std::string_view key, const JSONLiteral& to,
                                     JSONDialect dialect) {
    return edited(bytes, dialect, [&](const Document& document) -> Plan {
        const auto object = document.objectAt(at);
        if (!object) return std::unexpected{object.error()};
        const JSONNode& node = **object;
        if (const JSONMember* member = node.member(key)) {
            return document.replacing(member->value, member->keyStart, node, to);
        }
        if (!node.members().empty()) return document.behind(rangeOf(node.members().back()), key, to);
        if (document.hasComments(interiorOf(node))) return document.joiningComments(node, key, to);
        return document.filling(node, key, to);
    });
}

JSONEdit::Result JSONEdit::removeMember(BytesView bytes, const JSONPath& at, std::string_view key,
                                        JSONDialect dialect) {
    return edited(bytes, dialect, [&](const Document& document) -> Plan {
        const auto object = document.objectAt(at);
        if (!object) return std::unexpected{object.error()};
        const auto members = (*object)->members();
        const JSONMember* member = (*object)->member(key);
        if (member == nullptr) return std::unexpected{JSONEditError::NoSuchMember{at, std::string{key}}};
        if (members.size() == 1) return document.removing(document.onlyMember(**object));
        return document.removing(goingWith(members, static_cast<std::size_t>(member - members.data())));
    });
}

JSONEdit::Result JSONEdit::appendElement(BytesView bytes, const JSONPath& at, const JSONLiteral& literal) {
    return edited(bytes, JSONDialect::strict, [&](const Document& document) -> Plan {
        const auto array = document.arrayAt(at);
        if (!array) return std::unexpected{array.error()};
        const auto elements = (*array)->elements();
        if (elements.empty()) return document.filling(**array, std::nullopt, literal);
        return document.behind(elements.back().range(), std::nullopt, literal);
    });
}

JSONEdit::Result JSONEdit::insertElement(BytesView bytes, const JSONPath& at, std::int64_t after,
                                         const JSONLiteral& literal) {
    return editedElement(bytes, at, after,
                         [&](const Document& document, const JSONNode& array, std::size_t index) -> Plan {
                             return document.behind(array.elements()[index].range(), std::nullopt, literal);
                         });
}

JSONEdit::Result JSONEdit::replaceElement(BytesView bytes, const JSONPath& at, std::int64_t index,
                                          const JSONLiteral& literal) {
    return editedElement(bytes, at, index,
                         [&](const Document& document, const JSONNode& array, std::size_t place) -> Plan {
                             const JSONNode& element = array.elements()[place];
                             return document.replacing(element, element.start, array, literal);
                         });
}

JSONEdit::Result JSONEdit::removeElement(BytesView bytes, const JSONPath& at, std::int64_t index) {
    return editedElement(
        bytes, at, index, [&](const Document& document, const JSONNode& array, std::size_t place) -> Plan {
            const auto elements = array.elements();
            return document.removing(elements.size() == 1 ? interiorOf(array) : goingWith(elements, place));
        });
}

}  // namespace larkmoor

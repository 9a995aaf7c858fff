#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/JSONLayout.h"

namespace larkmoor {

namespace {

using Plan = std::expected<Splice, JSONEditError>;
using Container = std::expected<const JSONNode*, JSONEditError>;

std::string named(const JSONPath& path) {
    if (path.empty()) return "the top-level value";
    std::string name;
    for (const JSONStep& step : path) {
        if (&step != &path.front()) name += '.';
        name += step.visit([](const JSONStep::Key& key) { return key.text; },
                           [](const JSONStep::Index& index) { return fmt::format("[{}]", index.value); });
    }
    return name;
}

Container objectAt(const JSONDocument& document, const JSONPath& path) {
    const JSONNode* node = document.root().node(path);
    if (node == nullptr || !node->isObject()) return std::unexpected{JSONEditError::NotAnObject{path}};
    return node;
}

Container arrayAt(const JSONDocument& document, const JSONPath& path) {
    const JSONNode* node = document.root().node(path);
    if (node == nullptr || !node->isArray()) return std::unexpected{JSONEditError::NotAnArray{path}};
    return node;
}

/// Between the brackets of an object or an array.
ByteRange interiorOf(const JSONNode& container) { return {container.start + 1, container.end - 1}; }

/// The ranges of a container's items, each of which is a member or an element.
std::vector<ByteRange> itemsOf(const JSONNode& container) {
    std::vector<ByteRange> items;
    for (const JSONMember& member : container.members()) items.push_back(member.range());
    for (const JSONNode& element : container.elements()) items.push_back(element.range());
    return items;
}

/// Plans the splice of one edit with the measurements of one document.
class Planner {
  public:
    explicit Planner(const JSONDocument& document)
        : bytes_(document.bytes()),
          comments_(document.comments()),
          newline_(lineEnding(bytes_)),
          unit_(JSONLayout::indentUnit(bytes_, document.root())) {}

    /// Replaces the value's bytes; the container decides whether the literal spreads.
    Splice replacing(const JSONNode& value, std::int64_t lineOf, const JSONNode& container,
                     const JSONLiteral& by) const {
        const RenderStyle style{JSONLayout::spansLines(bytes_, container.range()), std::string{newline_}};
        return {value.range(), by.render(JSONLayout::lineIndent(bytes_, lineOf), unit_, style)};
    }

    /// Inserts an item after another one, with the same white space before it.
    Splice insertingAfter(ByteRange item, std::optional<std::string_view> key, const JSONLiteral& literal) const {
        const auto [prefix, indent, style] = JSONLayout::insertionPrefix(bytes_, item.start, newline_);
        std::string text = ",";
        text += prefix;
        text += rendered(key, literal, indent, style);
        return {{item.end, item.end}, std::move(text)};
    }

    /// Replaces the white space in an empty container by its first item.
    Splice filling(const JSONNode& container, std::optional<std::string_view> key, const JSONLiteral& literal) const {
        const bool spread = asText(bytes_).contains('\n');
        return {interiorOf(container), spread ? onItsOwnLine(container, key, literal) : onOneLine(key, literal)};
    }

    /// Adds the first member of an object that holds comments, after them.
    Splice fillingAfterComments(const JSONNode& object, std::string_view key, const JSONLiteral& literal) const {
        const ByteRange interior = interiorOf(object);
        if (!JSONLayout::spansLines(bytes_, interior)) return {{interior.end, interior.end}, onOneLine(key, literal)};
        return {{blanksBefore(interior.end, interior), interior.end}, onItsOwnLine(object, key, literal)};
    }

    bool hasComments(ByteRange range) const { return JSONComments::count(comments_, range) > 0; }

    Splice removingMember(const JSONNode& object, std::size_t place) const {
        const auto members = object.members();
        ByteRange range;
        if (members.size() == 1) {
            range = rangeOfOnlyMember(object);
        } else if (place == 0) {
            range = {members[0].keyStart, members[1].keyStart};
        } else {
            range = {members[place - 1].value.end, members[place].value.end};
        }
        return {range, JSONComments::preserved(bytes_, range, comments_, newline_)};
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

    /// With the newline before it, and after it that of the closing bracket with its indent.
    std::string onItsOwnLine(const JSONNode& container, std::optional<std::string_view> key,
                             const JSONLiteral& literal) const {
        const RenderStyle style{.spread = true, .newline = std::string{newline_}};
        const std::string indent{JSONLayout::lineIndent(bytes_, container.start)};
        std::string inner = indent;
        inner += unit_;
        return style.newline + inner + rendered(key, literal, inner, style) + style.newline + indent;
    }

    /// A comment keeps the braces apart.
    ByteRange rangeOfOnlyMember(const JSONNode& object) const {
        const ByteRange interior = interiorOf(object);
        if (!hasComments(interior)) return interior;
        const ByteRange member = object.members().front().range();
        if (!JSONLayout::spansLines(bytes_, interior)) return member;
        return {blanksBefore(member.start, interior), member.end};
    }

    /// Where the white space begins that ends at the offset, inside the container. The blanks at the end of a line
    /// comment belong to the comment.
    std::int64_t blanksBefore(std::int64_t offset, ByteRange interior) const {
        const auto earlier = JSONComments::inside(comments_, {interior.start, offset});
        const std::int64_t least = earlier.empty() ? interior.start : earlier.back().end;
        return std::max(JSONLayout::whitespaceRun(bytes_, offset).start, least);
    }

    BytesView bytes_;
    std::span<const ByteRange> comments_;
    std::string_view newline_;
    std::string_view unit_;
};

/// Reads the result: a literal may nest too deep where it lands, or hold bytes that are not UTF-8.
JSONEdit::Result proven(Bytes result, JSONDialect dialect) {
    auto next = JSONDocument::read(std::move(result), dialect);
    if (!next) return std::unexpected{JSONEditFailure{std::move(next.error())}};
    return std::move(*next);
}

JSONEdit::Result edited(const JSONDocument& document, const Plan& plan) {
    if (!plan) return std::unexpected{JSONEditFailure{plan.error()}};
    return proven(larkmoor::apply(*plan, document.bytes()), document.dialect());
}

/// The strict dialect's error for the document's first comment; nullopt if there are no comments.
std::optional<JSONEditFailure> commentFailure(const JSONDocument& document) {
    if (document.comments().empty()) return std::nullopt;
    auto strict = JSONText::scanWithTrivia(document.bytes(), JSONDialect::strict);
    return JSONEditFailure{std::move(strict.error())};
}

/// Edits an array; `makePlan` is given the planner and the array.
template <class MakePlan>
JSONEdit::Result editedArray(const JSONDocument& document, const JSONPath& at, MakePlan makePlan) {
    if (auto failure = commentFailure(document)) return std::unexpected{std::move(*failure)};
    const Container array = arrayAt(document, at);
    if (!array) return std::unexpected{JSONEditFailure{array.error()}};
    return edited(document, makePlan(Planner{document}, **array));
}

/// Edits an element that has to be there; `makePlan` is given its index as well.
template <class MakePlan>
JSONEdit::Result editedElement(const JSONDocument& document, const JSONPath& at, std::int64_t index,
                               MakePlan makePlan) {
    return editedArray(document, at, [&](const Planner& planner, const JSONNode& array) -> Plan {
        const bool inBounds = index >= 0 && index < std::ssize(array.elements());
        if (!inBounds) return std::unexpected{JSONEditError::NoSuchElement{at, index}};
        return makePlan(planner, array, static_cast<std::size_t>(index));
    });
}

/// The ranges to remove with these items of a container without comments. A run of neighbours goes with the text
/// between it and the item before it; the run at the start goes with the text up to the item after it.
std::vector<ByteRange> rangesToRemove(const JSONNode& container, const std::set<std::size_t>& places) {
    const std::vector<ByteRange> items = itemsOf(container);
    if (places.size() == items.size()) return {interiorOf(container)};
    std::vector<ByteRange> ranges;
    std::optional<std::size_t> before;  // the last item that is kept
    for (std::size_t place = 0; place < items.size(); ++place) {
        if (!places.contains(place)) {
            if (!before && place > 0) ranges.push_back({items.front().start, items[place].start});
            before = place;
        } else if (before) {
            if (*before + 1 == place) ranges.push_back({items[*before].end, 0});
            ranges.back().end = items[place].end;
        }
    }
    return ranges;
}

/// The document without these ranges; one that lies inside another adds nothing.
Bytes without(std::vector<ByteRange> ranges, BytesView document) {
    std::ranges::sort(ranges, {}, &ByteRange::start);
    Bytes result;
    result.reserve(document.size());
    std::int64_t at = 0;
    const auto copyUpTo = [&](std::int64_t end) {
        const auto kept = document.subspan(static_cast<std::size_t>(at), static_cast<std::size_t>(end - at));
        result.insert(result.end(), kept.begin(), kept.end());
    };
    for (const ByteRange range : ranges) {
        if (range.end <= at) continue;
        copyUpTo(range.start);
        at = range.end;
    }
    copyUpTo(std::ssize(document));
    return result;
}

/// A container and the place of one of its items.
using Item = std::pair<const JSONNode*, std::size_t>;

std::expected<Item, JSONEditError> itemAt(const JSONDocument& document, JSONPath path) {
    if (path.empty()) return std::unexpected{JSONEditError::NoSuchMember{}};
    const JSONStep step = std::move(path.back());
    path.pop_back();
    using Found = std::expected<Item, JSONEditError>;
    return step.visit(
        [&](const JSONStep::Key& key) -> Found {
            const Container object = objectAt(document, path);
            if (!object) return std::unexpected{object.error()};
            const JSONMember* member = (*object)->member(key.text);
            if (member == nullptr) return std::unexpected{JSONEditError::NoSuchMember{path, key.text}};
            return Item{*object, static_cast<std::size_t>(member - (*object)->members().data())};
        },
        [&](const JSONStep::Index& index) -> Found {
            const Container array = arrayAt(document, path);
            if (!array) return std::unexpected{array.error()};
            const bool inBounds = index.value >= 0 && index.value < std::ssize((*array)->elements());
            if (!inBounds) return std::unexpected{JSONEditError::NoSuchElement{path, index.value}};
            return Item{*array, static_cast<std::size_t>(index.value)};
        });
}

}  // namespace

JSONEdit::Result JSONEdit::setMember(const JSONDocument& document, const JSONPath& at, std::string_view key,
                                     const JSONLiteral& to) {
    const Container object = objectAt(document, at);
    if (!object) return std::unexpected{JSONEditFailure{object.error()}};
    const JSONNode& node = **object;
    const Planner planner{document};
    if (const JSONMember* member = node.member(key)) {
        return edited(document, planner.replacing(member->value, member->keyStart, node, to));
    }
    if (!node.members().empty()) {
        return edited(document, planner.insertingAfter(node.members().back().range(), key, to));
    }
    if (planner.hasComments(interiorOf(node))) return edited(document, planner.fillingAfterComments(node, key, to));
    return edited(document, planner.filling(node, key, to));
}

JSONEdit::Result JSONEdit::removeMember(const JSONDocument& document, const JSONPath& at, std::string_view key) {
    JSONPath path = at;
    path.emplace_back(key);
    const auto item = itemAt(document, std::move(path));
    if (!item) return std::unexpected{JSONEditFailure{item.error()}};
    return edited(document, Planner{document}.removingMember(*item->first, item->second));
}

JSONEdit::Result JSONEdit::appendElement(const JSONDocument& document, const JSONPath& at, const JSONLiteral& literal) {
    return editedArray(document, at, [&](const Planner& planner, const JSONNode& array) -> Plan {
        if (array.elements().empty()) return planner.filling(array, std::nullopt, literal);
        return planner.insertingAfter(array.elements().back().range(), std::nullopt, literal);
    });
}

JSONEdit::Result JSONEdit::insertElement(const JSONDocument& document, const JSONPath& at, std::int64_t after,
                                         const JSONLiteral& literal) {
    return editedElement(document, at, after,
                         [&](const Planner& planner, const JSONNode& array, std::size_t place) -> Plan {
                             return planner.insertingAfter(array.elements()[place].range(), std::nullopt, literal);
                         });
}

JSONEdit::Result JSONEdit::replaceElement(const JSONDocument& document, const JSONPath& at, std::int64_t index,
                                          const JSONLiteral& literal) {
    return editedElement(document, at, index,
                         [&](const Planner& planner, const JSONNode& array, std::size_t place) -> Plan {
                             const JSONNode& element = array.elements()[place];
                             return planner.replacing(element, element.start, array, literal);
                         });
}

JSONEdit::Result JSONEdit::removeElement(const JSONDocument& document, const JSONPath& at, std::int64_t index) {
    return editedElement(document, at, index, [](const Planner&, const JSONNode& array, std::size_t place) -> Plan {
        return Splice{rangesToRemove(array, {place}).front(), ""};
    });
}

JSONEdit::Result JSONEdit::removeAll(const JSONDocument& document, std::span<const JSONPath> items) {
    if (auto failure = commentFailure(document)) return std::unexpected{std::move(*failure)};
    if (items.empty()) return document;
    std::map<const JSONNode*, std::set<std::size_t>> places;
    for (const JSONPath& path : items) {
        const auto item = itemAt(document, path);
        if (!item) return std::unexpected{JSONEditFailure{item.error()}};
        places[item->first].insert(item->second);
    }
    std::vector<ByteRange> ranges;
    for (const auto& [container, chosen] : places) {
        const auto gone = rangesToRemove(*container, chosen);
        ranges.insert(ranges.end(), gone.begin(), gone.end());
    }
    return proven(without(std::move(ranges), document.bytes()), document.dialect());
}

std::string JSONEditError::description() const {
    return visit(
        [](const NotAnObject& error) { return named(error.path) + " is not an object"; },
        [](const NotAnArray& error) { return named(error.path) + " is not an array"; },
        [](const NoSuchMember& error) { return error.key + " is not in " + named(error.path); },
        [](const NoSuchElement& error) { return fmt::format("{} has no element {}", named(error.path), error.index); });
}

}  // namespace larkmoor

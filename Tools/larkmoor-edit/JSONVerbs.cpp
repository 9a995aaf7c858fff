#include "JSONVerbs.h"

#include <utility>

#include "Arguments.h"
#include "LarkmoorConnectors/ConfigFile/JSONDuplicates.h"
#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::edit {

namespace {

using Arguments = std::span<const std::string>;
using Prepared = std::expected<Change, Stop>;
using Changed = std::expected<Bytes, Stop>;

template <class Value, class Error>
std::expected<Value, Stop> orStop(std::expected<Value, Error> result) {
    if (!result) return std::unexpected{Stop{Stop::refused, result.error().description()}};
    return std::move(*result);
}

/// An edit would take the first of two members with one name, and a reader the last: nobody would see the change.
std::optional<Stop> duplicateOn(const JSONPath& path, BytesView document, JSONDialect dialect) {
    const auto scan = JSONText::scanWithTrivia(document, dialect);
    if (!scan) return std::nullopt;
    for (std::size_t length = 0; length <= path.size(); ++length) {
        const JSONNode* node =
            scan->root.node(JSONPath(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(length)));
        if (node == nullptr) return std::nullopt;
        if (auto reason = JSONDuplicates::reason(*node)) return Stop{Stop::refused, std::move(*reason)};
    }
    return std::nullopt;
}

/// The edit, unless a name stands twice on the way to its place.
template <class Edit>
Change guarded(JSONPath path, JSONDialect dialect, Edit edit) {
    return [path = std::move(path), dialect, edit = std::move(edit)](BytesView document) -> Changed {
        if (auto duplicate = duplicateOn(path, document, dialect)) return std::unexpected{std::move(*duplicate)};
        return orStop(edit(document, path));
    };
}

Prepared scan(Arguments, JSONDialect dialect) {
    return [dialect](BytesView document) -> Changed {
        const auto scanned = orStop(JSONText::scanWithTrivia(document, dialect));
        if (!scanned) return std::unexpected{scanned.error()};
        return copyBytes(document);
    };
}

Prepared set(Arguments arguments, JSONDialect dialect) {
    auto at = path(arguments[0]);
    if (!at) return std::unexpected{at.error()};
    auto to = literal(arguments[2]);
    if (!to) return std::unexpected{to.error()};
    return guarded(std::move(*at), dialect,
                   [key = arguments[1], to = std::move(*to), dialect](BytesView document, const JSONPath& in) {
                       return JSONEdit::setMember(document, in, key, to, dialect);
                   });
}

Prepared remove(Arguments arguments, JSONDialect dialect) {
    auto at = path(arguments[0]);
    if (!at) return std::unexpected{at.error()};
    return guarded(std::move(*at), dialect, [key = arguments[1], dialect](BytesView document, const JSONPath& in) {
        return JSONEdit::removeMember(document, in, key, dialect);
    });
}

Prepared append(Arguments arguments, JSONDialect dialect) {
    auto at = path(arguments[0]);
    if (!at) return std::unexpected{at.error()};
    auto element = literal(arguments[1]);
    if (!element) return std::unexpected{element.error()};
    return guarded(std::move(*at), dialect, [element = std::move(*element)](BytesView document, const JSONPath& in) {
        return JSONEdit::appendElement(document, in, element);
    });
}

Prepared removeElement(Arguments arguments, JSONDialect dialect) {
    auto at = path(arguments[0]);
    if (!at) return std::unexpected{at.error()};
    const auto place = index(arguments[1]);
    if (!place) return std::unexpected{place.error()};
    return guarded(std::move(*at), dialect, [place = *place](BytesView document, const JSONPath& in) {
        return JSONEdit::removeElement(document, in, place);
    });
}

constexpr Verb verbs[] = {
    {.format = "json", .name = "scan", .arguments = "", .takesComments = true, .changes = false, .prepare = scan},
    {.format = "json",
     .name = "set",
     .arguments = "PATH KEY LITERAL",
     .count = 3,
     .takesComments = true,
     .prepare = set},
    {.format = "json", .name = "remove", .arguments = "PATH KEY", .count = 2, .takesComments = true, .prepare = remove},
    {.format = "json", .name = "append", .arguments = "PATH LITERAL", .count = 2, .prepare = append},
    {.format = "json", .name = "remove-element", .arguments = "PATH INDEX", .count = 2, .prepare = removeElement},
};

}  // namespace

std::span<const Verb> jsonVerbs() { return verbs; }

}  // namespace larkmoor::edit

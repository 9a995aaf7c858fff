#include <utility>

#include "Arguments.h"
#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
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

/// Of two members with the same name an edit changes the first and most readers take the last.
std::optional<Stop> duplicateOn(const JSONPath& path, const JSONDocument& document) {
    for (std::size_t length = 0; length <= path.size(); ++length) {
        const JSONNode* node =
            document.root().node(JSONPath(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(length)));
        if (node == nullptr) return std::nullopt;
        if (auto reason = JSONDuplicates::reason(*node)) return Stop{Stop::refused, std::move(*reason)};
    }
    return std::nullopt;
}

/// Refuses the edit if an object along the path has a duplicate name.
template <class Edit>
Change guarded(JSONPath path, JSONDialect dialect, Edit edit) {
    return [path = std::move(path), dialect, edit = std::move(edit)](BytesView bytes) -> Changed {
        const auto document = orStop(JSONDocument::read(bytes, dialect));
        if (!document) return std::unexpected{document.error()};
        if (auto duplicate = duplicateOn(path, *document)) return std::unexpected{std::move(*duplicate)};
        auto edited = orStop(edit(*document, path));
        if (!edited) return std::unexpected{std::move(edited.error())};
        return edited->bytes();
    };
}

Prepared scan(Arguments, JSONDialect dialect) {
    return [dialect](BytesView bytes) -> Changed {
        const auto document = orStop(JSONDocument::read(bytes, dialect));
        if (!document) return std::unexpected{document.error()};
        return document->bytes();
    };
}

Prepared set(Arguments arguments, JSONDialect dialect) {
    auto at = path(arguments[0]);
    if (!at) return std::unexpected{at.error()};
    auto to = literal(arguments[2]);
    if (!to) return std::unexpected{to.error()};
    return guarded(std::move(*at), dialect,
                   [key = arguments[1], to = std::move(*to)](const JSONDocument& document, const JSONPath& in) {
                       return JSONEdit::setMember(document, in, key, to);
                   });
}

Prepared remove(Arguments arguments, JSONDialect dialect) {
    auto at = path(arguments[0]);
    if (!at) return std::unexpected{at.error()};
    return guarded(std::move(*at), dialect, [key = arguments[1]](const JSONDocument& document, const JSONPath& in) {
        return JSONEdit::removeMember(document, in, key);
    });
}

Prepared append(Arguments arguments, JSONDialect dialect) {
    auto at = path(arguments[0]);
    if (!at) return std::unexpected{at.error()};
    auto element = literal(arguments[1]);
    if (!element) return std::unexpected{element.error()};
    return guarded(std::move(*at), dialect,
                   [element = std::move(*element)](const JSONDocument& document, const JSONPath& in) {
                       return JSONEdit::appendElement(document, in, element);
                   });
}

Prepared removeElement(Arguments arguments, JSONDialect dialect) {
    auto at = path(arguments[0]);
    if (!at) return std::unexpected{at.error()};
    const auto place = index(arguments[1]);
    if (!place) return std::unexpected{place.error()};
    return guarded(std::move(*at), dialect, [place = *place](const JSONDocument& document, const JSONPath& in) {
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

#include <fmt/format.h>

#include <utility>
#include <vector>

#include "Arguments.h"
#include "LarkmoorConnectors/ConfigFile/TOMLEdit.h"
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

namespace larkmoor::edit {

namespace {

using Arguments = std::span<const std::string>;
using Prepared = std::expected<Change, Stop>;
using Changed = std::expected<Bytes, Stop>;

std::unexpected<Stop> refused(std::string words) { return std::unexpected{Stop{Stop::refused, std::move(words)}}; }

/// The document, if it scans and the table has a shape that can be edited, as the root always has.
std::expected<TOMLDocument, Stop> editable(BytesView bytes, const TOMLName& name) {
    auto document = TOMLText::scan(bytes);
    if (!document) return refused(document.error().description());
    if (name.empty()) return std::move(*document);
    if (auto reason = TOMLText::unreadableReason(*document, std::span{&name, 1})) return refused(std::move(*reason));
    return std::move(*document);
}

/// Refuses the edit if the table has no shape that can be edited; `edit` is also given the scanned document.
template <class Edit>
Prepared guarded(const std::string& argument, Edit edit) {
    auto table = name(argument);
    if (!table) return std::unexpected{table.error()};
    return [table = std::move(*table), edit = std::move(edit)](BytesView bytes) -> Changed {
        const auto document = editable(bytes, table);
        if (!document) return std::unexpected{document.error()};
        return edit(bytes, *document, table);
    };
}

/// The same for a table that must exist.
template <class Edit>
Prepared inTable(const std::string& argument, Edit edit) {
    return guarded(
        argument,
        [edit = std::move(edit)](BytesView bytes, const TOMLDocument& document, const TOMLName& name) -> Changed {
            const TOMLTable* table = document.table(name);
            if (table == nullptr) return refused(TOMLEditError::noSuchTable(name).description());
            return edit(bytes, *table, document.entries(*table));
        });
}

Prepared scan(Arguments, JSONDialect) {
    return [](BytesView bytes) -> Changed {
        const auto document = TOMLText::scan(bytes);
        if (!document) return refused(document.error().description());
        return copyBytes(bytes);
    };
}

Prepared setTable(Arguments arguments, JSONDialect) {
    std::vector<TOMLEdit::Line> lines;
    for (const std::string& argument : arguments.subspan(1)) {
        const std::size_t sign = argument.find('=');
        if (sign == std::string::npos) return std::unexpected{Stop{Stop::wrongUsage, argument + " is no KEY=VALUE"}};
        lines.push_back({argument.substr(0, sign), argument.substr(sign + 1)});
    }
    return guarded(arguments[0],
                   [lines = std::move(lines)](BytesView bytes, const TOMLDocument&, const TOMLName& name) -> Changed {
                       auto set = TOMLEdit::setTable(bytes, name, lines);
                       if (!set) return refused(set.error().description());
                       return std::move(set->bytes);
                   });
}

Prepared setKey(Arguments arguments, JSONDialect) {
    return inTable(arguments[0],
                   [key = arguments[1], value = arguments[2]](BytesView bytes, const TOMLTable& table,
                                                              std::span<const TOMLEntry> entries) -> Changed {
                       auto set = TOMLEdit::setKey(bytes, table, entries, key, value);
                       if (!set) return refused(set.error().description());
                       return std::move(set->bytes);
                   });
}

Prepared removeKey(Arguments arguments, JSONDialect) {
    return inTable(
        arguments[0],
        [key = arguments[1]](BytesView bytes, const TOMLTable& table, std::span<const TOMLEntry> entries) -> Changed {
            for (const TOMLEntry& entry : entries) {
                if (entry.key == TOMLName{key}) return TOMLEdit::removeKey(bytes, entry);
            }
            return refused(fmt::format("{} is not in [{}]", key, TOMLText::joined(table.name)));
        });
}

Prepared removeTable(Arguments arguments, JSONDialect) {
    return guarded(arguments[0], [](BytesView bytes, const TOMLDocument&, const TOMLName& name) -> Changed {
        auto removed = TOMLEdit::removeTable(bytes, name);
        if (!removed) return refused(removed.error().description());
        return std::move(*removed);
    });
}

constexpr Verb verbs[] = {
    {.format = "toml", .name = "scan", .arguments = "", .changes = false, .prepare = scan},
    {.format = "toml",
     .name = "set-table",
     .arguments = "NAME KEY=VALUE...",
     .count = 2,
     .takesMore = true,
     .prepare = setTable},
    {.format = "toml", .name = "set-key", .arguments = "NAME KEY VALUE", .count = 3, .prepare = setKey},
    {.format = "toml", .name = "remove-key", .arguments = "NAME KEY", .count = 2, .prepare = removeKey},
    {.format = "toml", .name = "remove-table", .arguments = "NAME", .count = 1, .prepare = removeTable},
};

}  // namespace

std::span<const Verb> tomlVerbs() { return verbs; }

}  // namespace larkmoor::edit

#include "Arguments.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::edit {

namespace {

std::unexpected<Stop> wrong(std::string words) { return std::unexpected{Stop{Stop::wrongUsage, std::move(words)}}; }

std::optional<JSONStep> step(const JSONNode& node, BytesView document) {
    if (const auto key = node.text()) return JSONStep{*key};
    if (!node.kind.is<JSONKind::Number>()) return std::nullopt;
    const auto number = wholeNumber<std::int64_t>(textOf(node.range(), document));
    return number ? std::optional{JSONStep{*number}} : std::nullopt;
}

/// The elements of an argument that is a JSON array, each read by `read`.
template <class List, class Read>
std::expected<List, Stop> list(const std::string& argument, std::string_view shape, Read read) {
    const auto scan = JSONText::scanWithTrivia(asBytes(argument), JSONDialect::strict);
    if (!scan) return wrong(fmt::format("{} is no {}: {}", argument, shape, scan.error().description()));
    List elements;
    if (!scan->root.isArray()) return wrong(fmt::format("{} is no {}", argument, shape));
    for (const JSONNode& node : scan->root.elements()) {
        auto element = read(node);
        if (!element) return wrong(fmt::format("{} is no {}", argument, shape));
        elements.push_back(std::move(*element));
    }
    return elements;
}

/// Converts a tree into a literal; fails at the first value that a literal cannot hold.
class LiteralReader {
  public:
    explicit LiteralReader(BytesView document) : document_(document) {}

    using Result = std::expected<JSONLiteral, Stop>;

    Result read(const JSONNode& node) const {
        return node.kind.visit([&](const JSONKind::Object&) { return object(node); },
                               [&](const JSONKind::Array& array) { return elements(array); },
                               [](const JSONKind::String& string) -> Result { return JSONLiteral{string.text}; },
                               [](const JSONKind::Bool& flag) -> Result { return JSONLiteral{flag.value}; },
                               [&](const JSONKind::Number&) -> Result {
                                   const auto number = wholeNumber<std::int64_t>(textOf(node.range(), document_));
                                   if (!number) return notWritten(node);
                                   return JSONLiteral{*number};
                               },
                               [&](const JSONKind::Null&) -> Result { return notWritten(node); });
    }

  private:
    std::unexpected<Stop> notWritten(const JSONNode& node) const {
        return wrong(fmt::format(
            "{} is no value to be written: that is an object, an array, a string, a whole number of 64 bits or a bool",
            textOf(node.range(), document_)));
    }

    Result object(const JSONNode& node) const {
        if (const auto duplicate = JSONDuplicates::reason(node))
            return std::unexpected{Stop{Stop::refused, *duplicate}};
        std::vector<JSONLiteral::Member> members;
        for (const JSONMember& member : node.members()) {
            auto value = read(member.value);
            if (!value) return value;
            members.push_back({std::string{member.key}, std::move(*value)});
        }
        return JSONLiteral::object(std::move(members));
    }

    Result elements(const JSONKind::Array& array) const {
        std::vector<JSONLiteral> literals;
        for (const JSONNode& element : array.elements) {
            auto value = read(element);
            if (!value) return value;
            literals.push_back(std::move(*value));
        }
        return JSONLiteral::array(std::move(literals));
    }

    BytesView document_;
};

}  // namespace

std::expected<JSONPath, Stop> path(const std::string& argument) {
    return list<JSONPath>(argument, R"(path, such as ["hooks","PreToolUse",0])",
                          [&](const JSONNode& node) { return step(node, asBytes(argument)); });
}

std::expected<TOMLName, Stop> name(const std::string& argument) {
    return list<TOMLName>(argument, R"(table's name, such as ["mcp_servers","larkmoor"])", [](const JSONNode& node) {
        const auto text = node.text();
        return text ? std::optional{std::string{*text}} : std::nullopt;
    });
}

std::expected<std::int64_t, Stop> index(const std::string& argument) {
    if (const auto number = wholeNumber<std::int64_t>(argument)) return *number;
    return wrong(argument + " is no index: that is a whole number");
}

std::expected<JSONLiteral, Stop> literal(const std::string& argument) {
    const auto scan = JSONText::scanWithTrivia(asBytes(argument), JSONDialect::strict);
    if (!scan) return wrong(fmt::format("{} is no JSON: {}", argument, scan.error().description()));
    return LiteralReader{asBytes(argument)}.read(scan->root);
}

}  // namespace larkmoor::edit

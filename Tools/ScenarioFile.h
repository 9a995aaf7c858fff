// The file that directs a stand-in: named by an option, or in the home folder for one that the application starts.
#pragma once

#include <fmt/format.h>

#include <cstdlib>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/JSON/Decoder.h"

namespace larkmoor {

/// A member, at any depth, that no field of `T` names, as a path such as "faults.byte"; nullopt if there is none.
template <class T>
std::optional<std::string> unknownMember(const FlatNode& node) {
    if constexpr (isOptional<T>) {
        return unknownMember<typename T::value_type>(node);
    } else if constexpr (isList<T>) {
        if (node.kind != FlatNode::Kind::array) return std::nullopt;
        for (const FlatNode* element = node.begin(); element != node.end(); element = element->next()) {
            if (auto unknown = unknownMember<typename T::value_type>(*element)) return unknown;
        }
    } else if constexpr (DescribedRecord<T>) {
        if (node.kind != FlatNode::Kind::object) return std::nullopt;
        for (const FlatNode* member = node.begin(); member != node.end(); member = member->next()) {
            std::optional<std::string> unknown{member->key()};
            boost::mp11::mp_for_each<FieldsOf<T>>([&](auto field) {
                using Field = std::remove_cvref_t<decltype(std::declval<T&>().*field.pointer)>;
                if (member->key() != std::string_view{field.name}) return;
                unknown = unknownMember<Field>(*member);
                if (unknown) unknown->insert(0, std::string{field.name} + ".");
            });
            if (unknown) return unknown;
        }
    }
    return std::nullopt;
}

/// Reads a JSON object. A member that no field names is an error at any depth: a misspelt trouble would not happen, and
/// what is to withstand it would pass for nothing.
template <class Scenario>
std::expected<Scenario, std::string> decodeScenario(BytesView bytes) {
    FlatDocument document;
    if (auto parsed = document.parse(bytes, Strictness::strict); !parsed)
        return std::unexpected(parsed.error().description());
    if (const auto unknown = unknownMember<Scenario>(document.root()))
        return std::unexpected(fmt::format("a scenario knows no \"{}\"", *unknown));
    auto scenario = Decoder::decode<Scenario>(bytes);
    if (!scenario) return std::unexpected(scenario.error().description());
    return *std::move(scenario);
}

/// `read` makes a scenario of the file's bytes, or says in words what is wrong. An empty scenario if `path` is empty.
template <class Scenario>
std::expected<Scenario, std::string> scenarioIn(const std::string& path,
                                                std::expected<Scenario, std::string> (*read)(BytesView document)) {
    if (path.empty()) return Scenario{};
    const auto bytes = Files::read(path);
    if (!bytes) return std::unexpected(bytes.error().description());
    auto scenario = read(*bytes);
    if (!scenario) return std::unexpected(path + ": " + scenario.error());
    return scenario;
}

/// An empty scenario if there is no such file in the home folder.
template <class Scenario>
std::expected<Scenario, std::string> homeScenario(std::string_view name) {
    const char* home = std::getenv("HOME");
    const std::string path = fmt::format("{}/{}", home == nullptr ? "" : home, name);
    return scenarioIn<Scenario>(Files::exists(path) ? path : "", decodeScenario<Scenario>);
}

}  // namespace larkmoor

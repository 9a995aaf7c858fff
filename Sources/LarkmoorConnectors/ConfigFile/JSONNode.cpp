#include "LarkmoorConnectors/ConfigFile/JSONNode.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

namespace larkmoor {

std::span<const JSONMember> JSONNode::members() const {
    const auto* object = kind.as<Kind::Object>();
    return object == nullptr ? std::span<const JSONMember>{} : object->members;
}

std::span<const JSONNode> JSONNode::elements() const {
    const auto* array = kind.as<Kind::Array>();
    return array == nullptr ? std::span<const JSONNode>{} : array->elements;
}

std::optional<std::string_view> JSONNode::text() const {
    const auto* string = kind.as<Kind::String>();
    return string == nullptr ? std::nullopt : std::optional<std::string_view>{string->text};
}

const JSONNode::Member* JSONNode::member(std::string_view key) const {
    const auto all = members();
    const auto found = std::ranges::find(all, key, &Member::key);
    return found == all.end() ? nullptr : &*found;
}

const JSONNode* JSONNode::node(const JSONPath& at) const {
    const JSONNode* here = this;
    for (const JSONStep& step : at) {
        here = step.visit(
            [here](const JSONStep::Key& key) -> const JSONNode* {
                const Member* found = here->member(key.text);
                return found == nullptr ? nullptr : &found->value;
            },
            [here](const JSONStep::Index& index) -> const JSONNode* {
                const auto all = here->elements();
                const bool inBounds = index.value >= 0 && index.value < std::ssize(all);
                return inBounds ? &all[static_cast<std::size_t>(index.value)] : nullptr;
            });
        if (here == nullptr) return nullptr;
    }
    return here;
}

JSONValue JSONNode::value(BytesView in) const {
    return kind.visit(
        [in](const Kind::Object& object) -> JSONValue {
            JSONValue::Object result;
            for (const Member& member : object.members) {
                result.members.insert_or_assign(std::string{member.key}, member.value.value(in));
            }
            return result;
        },
        [in](const Kind::Array& array) -> JSONValue {
            JSONValue::Array result;
            result.elements.reserve(array.elements.size());
            for (const JSONNode& element : array.elements) result.elements.push_back(element.value(in));
            return result;
        },
        [](const Kind::String& string) -> JSONValue { return JSONValue::String{std::string{string.text}}; },
        [](const Kind::Bool& flag) -> JSONValue { return JSONValue::Bool{flag.value}; },
        [this, in](const Kind::Number&) -> JSONValue { return JSONValue::Number{std::string{textOf(range(), in)}}; },
        [](const Kind::Null&) -> JSONValue { return JSONValue::Null{}; });
}

std::optional<std::string> JSONDuplicates::reason(const JSONNode& object) {
    std::unordered_set<std::string_view> seen;
    for (const JSONMember& member : object.members()) {
        if (seen.insert(member.key).second) continue;
        return fmt::format("the name \"{}\" appears twice in one object (at byte {})", member.key, member.keyStart);
    }
    return std::nullopt;
}

}  // namespace larkmoor

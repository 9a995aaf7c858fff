#include "LarkmoorConnectors/ConfigFile/JSONNode.h"

#include <algorithm>

namespace larkmoor {

std::span<const JSONMember> JSONNode::members() const {
    const auto object = kind.as<Kind::Object>();
    return object ? object->members : std::span<const JSONMember>{};
}

std::span<const JSONNode> JSONNode::elements() const {
    const auto array = kind.as<Kind::Array>();
    return array ? array->elements : std::span<const JSONNode>{};
}

std::optional<std::string_view> JSONNode::text() const {
    const auto string = kind.as<Kind::String>();
    return string ? std::optional{string->text} : std::nullopt;
}

const JSONNode::Member* JSONNode::member(std::string_view key) const {
    const auto all = members();
    const auto found = std::ranges::find(all, key, [](const Member& member) { return member.key.view(); });
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
                result.members.insert_or_assign(std::string{member.key.view()}, member.value.value(in));
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
        [this, in](const Kind::Number&) -> JSONValue {
            const auto first = static_cast<std::size_t>(start);
            return JSONValue::Number{std::string{asText(in).substr(first, static_cast<std::size_t>(end) - first)}};
        },
        [](const Kind::Null&) -> JSONValue { return JSONValue::Null{}; });
}

}  // namespace larkmoor

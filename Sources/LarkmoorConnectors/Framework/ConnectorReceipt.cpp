#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

#include <algorithm>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

namespace {

std::string asWritten(const std::string& text) { return text; }
template <RawText E>
std::string asWritten(E value) {
    return std::string{rawText(value)};
}

template <class Value>
std::optional<Value> asRead(std::string_view text) {
    if constexpr (RawText<Value>) {
        return fromRawText<Value>(text);
    } else {
        return Value{text};
    }
}

template <class Value>
JSONLiteral sorted(const std::set<Value>& values) {
    std::vector<std::string> texts;
    texts.reserve(values.size());
    for (const Value& value : values) texts.push_back(asWritten(value));
    std::ranges::sort(texts);
    return JSONLiteral::array({texts.begin(), texts.end()});
}

/// Reads the set; false if what is there is no list of known texts.
template <class Value>
bool read(const JSONNode& list, std::set<Value>& into) {
    if (!list.isArray()) return false;
    for (const JSONNode& element : list.elements()) {
        const auto text = element.text();
        const auto value = text ? asRead<Value>(*text) : std::nullopt;
        if (!value) return false;
        into.insert(*value);
    }
    return true;
}

template <class Value>
bool readIfThere(const JSONNode& root, std::string_view key, std::set<Value>& into) {
    const JSONMember* member = root.member(key);
    return member == nullptr || member->value.kind.is<JSONKind::Null>() || read(member->value, into);
}

}  // namespace

Bytes ConnectorReceipt::encoded() const {
    std::vector<JSONLiteral::Member> members{{"adopted", sorted(adopted)}};
    if (appVersion) members.push_back({"appVersion", *appVersion});
    members.push_back({"created", sorted(created)});
    members.push_back({"trustSlots", sorted(trustSlots)});
    return copyBytes(JSONLiteral::object(std::move(members)).render("", "  ", {.spread = true}) + "\n");
}

std::optional<ConnectorReceipt> ConnectorReceipt::decoded(BytesView bytes) {
    const auto scan = StrictJSON::scan(bytes);
    if (!scan || JSONDuplicates::reason(scan->root)) return std::nullopt;
    const JSONNode& root = scan->root;
    const JSONMember* created = root.member("created");
    ConnectorReceipt receipt;
    if (created == nullptr || !read(created->value, receipt.created)) return std::nullopt;
    if (!readIfThere(root, "adopted", receipt.adopted)) return std::nullopt;
    if (!readIfThere(root, "trustSlots", receipt.trustSlots)) return std::nullopt;
    if (const JSONMember* version = root.member("appVersion");
        version != nullptr && !version->value.kind.is<JSONKind::Null>()) {
        const auto text = version->value.text();
        if (!text) return std::nullopt;
        receipt.appVersion = *text;
    }
    return receipt;
}

}  // namespace larkmoor

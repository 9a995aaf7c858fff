#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/JSON/FlatDocument.h"
#include "LarkmoorBase/RawText.h"
#include "LarkmoorConnectors/ConfigFile/AtomicWrite.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"
#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"

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
bool read(const FlatNode& list, std::set<Value>& into) {
    if (list.kind != FlatNode::Kind::array) return false;
    for (const FlatNode* element = list.begin(); element != list.end(); element = element->next()) {
        const auto value = element->kind == FlatNode::Kind::string ? asRead<Value>(element->text) : std::nullopt;
        if (!value) return false;
        into.insert(*value);
    }
    return true;
}

/// False if the member does not fit; one of a name that is not ours always does.
bool readMember(const FlatNode& member, ConnectorReceipt& receipt) {
    if (member.key == "created") return read(member, receipt.created);
    if (member.kind == FlatNode::Kind::null) return true;
    if (member.key == "adopted") return read(member, receipt.adopted);
    if (member.key == "trustSlots") return read(member, receipt.trustSlots);
    if (member.key != "appVersion") return true;
    receipt.appVersion = member.text;
    return member.kind == FlatNode::Kind::string;
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
    FlatDocument document;
    if (!document.parse(bytes) || document.root().kind != FlatNode::Kind::object) return std::nullopt;
    ConnectorReceipt receipt;
    std::set<std::string_view> seen;
    for (const FlatNode* member = document.root().begin(); member != document.root().end(); member = member->next()) {
        if (!seen.insert(member->key).second || !readMember(*member, receipt)) return std::nullopt;
    }
    if (!seen.contains("created")) return std::nullopt;
    return receipt;
}

void ReceiptAddition::merge(ReceiptAddition other) {
    created.merge(other.created);
    adopted.merge(other.adopted);
    if (other.trustSlots) trustSlots = std::move(other.trustSlots);
    if (other.appVersion) appVersion = std::move(other.appVersion);
}

ConnectorReceipt ConnectorReceipt::with(ReceiptAddition made) const {
    ConnectorReceipt receipt = *this;
    receipt.created.merge(made.created);
    receipt.adopted.merge(made.adopted);
    if (made.trustSlots) receipt.trustSlots = std::move(*made.trustSlots);
    if (made.appVersion) receipt.appVersion = std::move(*made.appVersion);
    return receipt;
}

std::string ReceiptStore::path(const std::string& home, std::string_view name) {
    return fmt::format("{}/Library/Application Support/Larkmoor/Connectors/{}.json", home, name);
}

ConnectorReceipt ReceiptStore::read() const {
    const auto bytes = Files::read(file);
    return bytes ? ConnectorReceipt::decoded(*bytes).value_or(ConnectorReceipt{}) : ConnectorReceipt{};
}

std::expected<void, ConfigFileError> ReceiptStore::write(const ConnectorReceipt& receipt) const {
    constexpr mode_t privateFolder = 0700, privateFile = 0600;
    if (const auto made = Files::makeFolders(ConfigPath::folder(file), privateFolder); !made) {
        return std::unexpected{ConfigFileError::writeFailed(made.error().path, made.error().code)};
    }
    auto written = AtomicWrite::write(receipt.encoded(), file, {}, privateFile);
    if (written) static_cast<void>(::chmod(file.c_str(), privateFile));
    return written;
}

void ReceiptStore::remove() const { ::unlink(file.c_str()); }

}  // namespace larkmoor

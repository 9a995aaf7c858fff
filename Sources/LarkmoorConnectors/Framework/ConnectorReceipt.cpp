#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include <algorithm>
#include "LarkmoorBase/RawText.h"
#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

namespace {

using CreatedSet = std::set<Created>;
using AdoptedSet = std::set<Adopted>;
using TextSet = std::set<std::string>;

/// The file, with its keys in their order there.
LARKMOOR_RECORD(ReceiptFile, (std::optional<AdoptedSet>, adopted), (std::optional<std::string>, appVersion),
                (CreatedSet, created), (std::optional<TextSet>, trustSlots))

}  // namespace

Bytes ConnectorReceipt::encoded() const {
    const ReceiptFile file{.adopted = adopted, .appVersion = appVersion, .created = created, .trustSlots = trustSlots};
    // Only text that is not UTF-8 has no form: no bytes are no receipt, as such a file would be none.
    return Encoder::encode(file, Layout::pretty).value_or(Bytes{});
}

std::optional<ConnectorReceipt> ConnectorReceipt::decoded(BytesView bytes) {
    auto file = Decoder::decode<ReceiptFile>(bytes, Strictness::strict);
    if (!file) return std::nullopt;
    return ConnectorReceipt{.created = std::move(file->created),
                            .adopted = std::move(file->adopted).value_or(AdoptedSet{}),
                            .trustSlots = std::move(file->trustSlots).value_or(TextSet{}),
                            .appVersion = std::move(file->appVersion)};
}

}  // namespace larkmoor

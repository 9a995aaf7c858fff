#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorConnectors/ConfigFile/AtomicWrite.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

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
    // Encoding fails only for text that is not UTF-8. The result is then empty, which is not a valid receipt.
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
    if (made.appVersion) receipt.appVersion = made.appVersion();
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

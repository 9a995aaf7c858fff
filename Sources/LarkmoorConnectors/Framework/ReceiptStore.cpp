#include "LarkmoorConnectors/Framework/ReceiptStore.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ConfigFile/AtomicWrite.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor {

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

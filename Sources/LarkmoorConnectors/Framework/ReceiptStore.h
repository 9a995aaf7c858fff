// One harness's receipt on the disk, in our own folder. This program alone writes it.
#pragma once

#include <expected>
#include <string>

#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

namespace larkmoor {

struct ReceiptStore {
    std::string file;

    /// The receipt of that name in the user's support folder.
    static std::string path(const std::string& home, std::string_view name);

    /// The empty receipt where the file is not there or does not decode: then nothing counts as made by us.
    ConnectorReceipt read() const;

    /// Private, as are the folders made for it.
    std::expected<void, ConfigFileError> write(const ConnectorReceipt& receipt) const;

    /// A failure is ignored: the file may not be there.
    void remove() const;
};

}  // namespace larkmoor

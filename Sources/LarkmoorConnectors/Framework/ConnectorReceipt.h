// The record of what a connector made around its entries. It decides nothing about the entries, which are proven by
// their shape; it decides who owns the empty shell that they leave.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/Framework/Adopted.h"
#include "LarkmoorConnectors/Framework/Created.h"

namespace larkmoor {

struct ConnectorReceipt {
    std::set<Created> created;
    std::set<Adopted> adopted;
    std::set<std::string> trustSlots;
    std::optional<std::string> appVersion;

    /// The file's bytes, which depend on the content alone.
    Bytes encoded() const;

    /// Nothing for what does not read, or holds a value that this build does not know.
    static std::optional<ConnectorReceipt> decoded(BytesView bytes);

    bool operator==(const ConnectorReceipt&) const = default;
};

}  // namespace larkmoor

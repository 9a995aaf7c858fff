// The result of one verb on one harness, as plain text and as JSON.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/Framework/Connector.h"

namespace larkmoor::connect {

struct Entry {
    std::string id;
    std::string summary;                      ///< in the plain form: a state, a result, a count
    std::vector<Observation> observations{};  ///< in the plain form
    bool refused = false;
    /// The members of the JSON object, after its `id`.
    std::vector<JSONLiteral::Member> fields{};

    static Entry of(const ScanReport& report);
    static Entry of(std::string id, const ConnectorOutcome& outcome);
    static Entry of(std::string id, const ProjectReport& report);
    static Entry of(std::string id, const MemoryFileReport& report);
    static Entry staleness(std::string id, bool isStale);
};

/// Each harness with its summary, and under each file what is said of it.
std::string plainText(const std::vector<Entry>& entries);

/// A JSON array with an object for each.
std::string json(const std::vector<Entry>& entries);

}  // namespace larkmoor::connect

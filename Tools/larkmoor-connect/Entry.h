// What one verb has to say of one harness, as a person reads it and as JSON.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/Framework/Connector.h"

namespace larkmoor::connect {

struct Entry {
    std::string id;
    std::string standing;                     ///< one line's words: a state, a result, an answer
    std::vector<Observation> observations{};  ///< also those of a person's eyes alone
    bool refused = false;
    /// The fields of the object, behind its `id`.
    std::vector<JSONLiteral::Member> fields{};

    static Entry of(const ScanReport& report);
    static Entry of(std::string id, const ConnectorOutcome& outcome);
    static Entry of(std::string id, const ProjectReport& report);
    static Entry of(std::string id, const MemoryFileReport& report);
    static Entry ofStale(std::string id, bool isStale);
};

/// For a person: each harness, and under each place what is said of it.
std::string plain(const std::vector<Entry>& entries);

/// A JSON list with an object for each.
std::string json(const std::vector<Entry>& entries);

}  // namespace larkmoor::connect

// Ledger of the builds whose migration ended for good: a JSON file in the store folder, so that a later launch of the
// same build does not try again.
#pragma once

#include <expected>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorBase/JSON/Coding.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

struct PostponedUpdate {
    static constexpr std::string_view fileName = "migration-postponed.json";

    /// `at` is in ISO 8601 form; `backup` and `log` are paths.
    LARKMOOR_RECORD(Record, (std::string, version), (std::string, because), (std::string, at),
                    (std::optional<std::string>, backup), (std::optional<std::string>, log))
    LARKMOOR_RECORD(Ledger, (std::vector<Record>, postponed))

    /// Of the file's content. Earlier builds wrote a single record. A content that cannot be read blocks nothing.
    static std::vector<Record> records(BytesView content);
    static std::expected<Bytes, CodingFailure> encoded(std::vector<Record> records);
};

struct MarkerWriteCases {
    /// A record was removed from the file.
    struct Cleared {
        std::string path;
        bool operator==(const Cleared&) const = default;
    };
    /// A record was added to the file.
    struct Wrote {
        std::string path;
        bool operator==(const Wrote&) const = default;
    };
    struct Failed {
        std::string path, because;
        bool operator==(const Failed&) const = default;
    };
    /// Nothing was due.
    struct NotEarned {
        bool operator==(const NotEarned&) const = default;
    };
    /// The record was in the file already.
    struct AlreadyStanding {
        bool operator==(const AlreadyStanding&) const = default;
    };
};

/// What became of the ledger's file.
class MarkerWrite
    : public ClosedVariant<MarkerWriteCases, MarkerWriteCases::Cleared, MarkerWriteCases::Wrote,
                           MarkerWriteCases::Failed, MarkerWriteCases::NotEarned, MarkerWriteCases::AlreadyStanding> {
  public:
    using ClosedVariant::ClosedVariant;
};

}  // namespace larkmoor

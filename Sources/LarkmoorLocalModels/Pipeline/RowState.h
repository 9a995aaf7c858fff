// The state of one step of the models' setup.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

struct RowStateCases {
    struct Pending {
        bool operator==(const Pending&) const = default;
    };
    struct Active {
        std::optional<double> fraction{};  ///< of the whole, nothing while its size is not known
        bool operator==(const Active&) const = default;
    };
    struct Done {
        std::string detail;  ///< such as "downloaded", for the log
        bool operator==(const Done&) const = default;
    };
    struct Skipped {
        bool operator==(const Skipped&) const = default;
    };
};

class RowState : public ClosedVariant<RowStateCases, RowStateCases::Pending, RowStateCases::Active, RowStateCases::Done,
                                      RowStateCases::Skipped> {
  public:
    using ClosedVariant::ClosedVariant;

    /// The case's word, as in the progress file: "pending", "active", "done" or "skipped".
    std::string_view word() const;
    /// For a log: `pending`, `active(nil)`, `active(0.0)`, `done("downloaded")`, `skipped`.
    std::string logged() const;
};

}  // namespace larkmoor

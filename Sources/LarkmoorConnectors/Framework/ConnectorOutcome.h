// What a verb that may write gives back. There is no other error: a refusal explains itself by its observations.
#pragma once

#include <boost/describe.hpp>

#include <string>
#include <vector>

#include "LarkmoorConnectors/Observation.h"

namespace larkmoor {

struct [[nodiscard]] ConnectorOutcome {
    enum class Result { changed, unchanged, refused };
    BOOST_DESCRIBE_NESTED_ENUM(Result, changed, unchanged, refused)

    Result result = Result::refused;
    std::vector<Observation> observations;
    std::vector<std::string> backups{};  ///< the paths of the copies made

    static ConnectorOutcome refused(std::vector<Observation> observations) {
        return {Result::refused, std::move(observations)};
    }
    static ConnectorOutcome unchanged(std::vector<Observation> observations) {
        return {Result::unchanged, std::move(observations)};
    }

    bool operator==(const ConnectorOutcome&) const = default;
};

}  // namespace larkmoor

// The harnesses that the common tests run over. A new one adds its description: where its files lie, how its hooks are
// laid out, and rows of files that an install and a removal must leave as they were.
#pragma once

#include "LarkmoorConnectors/ConnectorHome.h"
#include "LarkmoorConnectors/Framework/Block.h"

namespace larkmoor::testing {

inline constexpr std::string_view asItWas = "(as it was)";

/// A file that an install and a removal go over.
struct RoundTrip {
    std::string_view name, in;
    std::string_view after = asItWas;  ///< what stands after the removal, if not the input
    std::string_view leftover = "";    ///< the sentence for what stays
};

struct Harness {
    std::string_view name, folder, receipt;
    std::vector<std::pair<std::string_view, std::vector<RoundTrip>>> files;  ///< by their paths in the home
    std::function<std::unique_ptr<Connector>(const ConnectorHome&)> make;
    std::string_view alwaysLeft = "";  ///< the sentence for what every removal leaves beside the files

    // For hooks files that are made by chance; a harness without such a file has no `hooks`.

    std::function<Block(const ConnectorHome&)> hooks{};
    std::vector<std::string_view> events{};
    bool grouped = true;
    std::vector<std::string_view> ours{};  ///< commands of this build and of earlier ones

    friend void PrintTo(const Harness& harness, std::ostream* out) { *out << harness.name; }
};

const std::vector<Harness>& harnesses();

}  // namespace larkmoor::testing

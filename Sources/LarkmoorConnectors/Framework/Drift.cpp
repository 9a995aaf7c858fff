#include "LarkmoorConnectors/Framework/Drift.h"

#include "LarkmoorBase/Files.h"

namespace larkmoor::Drift {

namespace {

/// A command may name both kinds of development build, and then says so twice.
std::vector<std::string> whereElse(const std::string& found) {
    std::vector<std::string> reasons;
    if (found.contains("/fenwright/larkmoor")) {
        reasons.push_back("the command points into a source checkout: " + found);
    }
    for (const char* build : {"dist-dev", "dist-prod"}) {
        if (found.contains(build)) reasons.push_back("the command points at a development build: " + found);
    }
    if (reasons.empty()) reasons.push_back("the command is not the one this build writes: " + found);
    return reasons;
}

}  // namespace

std::vector<std::string> reasons(const std::string& found, const std::string& expected, const std::string& binary) {
    std::vector<std::string> reasons;
    if (found != expected) reasons = whereElse(found);
    if (!Files::exists(binary)) reasons.push_back("the file the command names is not on disk: " + binary);
    return reasons;
}

}  // namespace larkmoor::Drift

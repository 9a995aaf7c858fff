// One piece of our wiring that has a file of its own: what differs between harnesses, as data and pure functions over
// the file's bytes. `BlockVerbs` sequences blocks.
#pragma once

#include <expected>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/Framework/BlockFinding.h"
#include "LarkmoorConnectors/Framework/Created.h"
#include "LarkmoorConnectors/Framework/Observations.h"

namespace larkmoor {

/// The file with our block in it.
struct BlockInstalled {
    Bytes bytes;
    std::set<Created> created{};       ///< what this install had to make around the block
    std::vector<std::string> notes{};  ///< what the user is to hear besides, of a file that changed

    bool operator==(const BlockInstalled&) const = default;
};

/// The file without our block.
struct BlockRemoved {
    Bytes bytes;
    std::vector<std::string> leftovers{};  ///< what of its surroundings stays, and why

    bool operator==(const BlockRemoved&) const = default;
};

struct Block {
    Observations::Place place;
    Created file;                    ///< noted when an install makes the file
    std::string_view seed = "{}\n";  ///< what a file begins from that is not there

    std::function<BlockFinding(std::optional<BytesView>)> find;
    // A failure is a description, for a person.
    std::function<std::expected<BlockInstalled, std::string>(BytesView)> installed;
    std::function<std::expected<BlockRemoved, std::string>(BytesView, const std::set<Created>&)> removed;

    /// Whether nothing is left that would keep a file of ours alive, and what is said if the file is not ours.
    std::function<bool(BytesView)> isResidue = isEmptyTopLevel;
    std::string_view residueStays = "this file is now empty and remains, because Larkmoor did not create it";

    /// Whether the document is an empty object or array in the strict dialect; what does not scan, is not.
    static bool isEmptyTopLevel(BytesView document);
};

/// The result of a block's function, with its failure in words.
template <class Result, class Failure>
std::expected<Result, std::string> described(std::expected<Result, Failure> result) {
    if (result) return std::move(*result);
    return std::unexpected{result.error().description()};
}

}  // namespace larkmoor

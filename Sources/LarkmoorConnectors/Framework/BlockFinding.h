// What was found of one block: one piece of our wiring in one file.
#pragma once

#include <string>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

struct BlockFindingCases {
    /// The file is there, and it did not read.
    struct Unreadable {
        std::string reason;
        bool operator==(const Unreadable&) const = default;
    };
    /// Our block is there, and it is not right.
    struct Drifted {
        std::vector<std::string> reasons;
        bool operator==(const Drifted&) const = default;
    };
    /// Something in the file leaves no place for the block.
    struct Foreign {
        std::vector<std::string> reasons;
        bool operator==(const Foreign&) const = default;
    };
    struct FileAbsent {
        bool operator==(const FileAbsent&) const = default;
    };
    /// The file is there, without a block of ours.
    struct Absent {
        bool operator==(const Absent&) const = default;
    };
    /// The block is exactly what this build writes.
    struct Connected {
        bool operator==(const Connected&) const = default;
    };
};

using BlockFinding = ClosedVariant<BlockFindingCases, BlockFindingCases::Unreadable, BlockFindingCases::Drifted,
                                   BlockFindingCases::Foreign, BlockFindingCases::FileAbsent, BlockFindingCases::Absent,
                                   BlockFindingCases::Connected>;

}  // namespace larkmoor

// What a scan warns of besides our blocks: that the application was upgraded after our hook entry was written, and that
// an entry in another harness's file fires in Cursor too. Only reads.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

namespace CursorVersion {

/// The version that the application at this path states; nullopt if it cannot be read or is empty.
std::optional<std::string> read(const std::string& app);

}  // namespace CursorVersion

namespace CursorThirdParty {

struct MappedCases {
    /// Of this build, or of any application bundle that is called Larkmoor: silent in Cursor, where Cursor's own entry
    /// answers.
    struct Current {
        std::string command;
        bool operator==(const Current&) const = default;
    };
    /// A script of the first builds, which answers Cursor in Claude Code's form.
    struct Legacy {
        std::string command;
        bool operator==(const Legacy&) const = default;
    };
};

/// A hook entry of ours in Claude Code's settings that Cursor runs too.
using Mapped = ClosedVariant<MappedCases, MappedCases::Current, MappedCases::Legacy>;

/// The first such entry in the bytes of the settings; nullopt if there is none, or if they are not JSON. The commands
/// are those of our hook for Cursor and for Claude Code, without a slot.
std::optional<Mapped> mappedLarkmoorEntry(BytesView in, const std::string& cursorCommand, const std::string& claude);

}  // namespace CursorThirdParty

}  // namespace larkmoor

// The blocks in Cursor's files, as pure functions over the files' documents: no file is read or written, except that
// `find` checks whether the executable exists.
#pragma once

#include <expected>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/Cursor/CursorPaths.h"
#include "LarkmoorConnectors/Framework/HookLayout.h"
#include "LarkmoorConnectors/Framework/ServerEntry.h"

namespace larkmoor {

struct CursorHooksVersionCases {
    struct Absent {
        bool operator==(const Absent&) const = default;
    };
    /// The number 1, spelled so: the format that this build writes.
    struct One {
        bool operator==(const One&) const = default;
    };
    struct Foreign {
        std::string text;  ///< of the value, as it stands in the file
        bool operator==(const Foreign&) const = default;
    };
};

/// The version of its format that a hooks file states.
using CursorHooksVersion = ClosedVariant<CursorHooksVersionCases, CursorHooksVersionCases::Absent,
                                         CursorHooksVersionCases::One, CursorHooksVersionCases::Foreign>;

struct CursorHookErrorCases {
    struct ForeignVersion {
        std::string version;
        bool operator==(const ForeignVersion&) const = default;
    };
};

/// Why nothing is written into a hooks file that could be edited.
class [[nodiscard]] CursorHookError : public ClosedVariant<CursorHookErrorCases, CursorHookErrorCases::ForeignVersion> {
  public:
    using ClosedVariant::ClosedVariant;

    /// For the user.
    std::string description() const;
};

struct CursorHookFailureCases {};

/// Why an installation could not be planned.
class [[nodiscard]] CursorHookFailure : public ClosedVariant<CursorHookFailureCases, CursorHookError, JSONEditFailure> {
  public:
    using ClosedVariant::ClosedVariant;

    /// The description of the error, for the user.
    std::string description() const;
};

/// The hook entries in the hooks file, without groups: one that runs before a prompt, one before some of the tools.
struct CursorHook {
    CursorPaths paths;

    /// The hooks file that an installation starts from if there is none: Cursor requires a version.
    static constexpr std::string_view seed = "{\n  \"version\": 1\n}\n";

    JSONLiteral entry() const;
    JSONLiteral preToolEntry() const;

    BlockFinding find(const JSONDocument& document) const;
    std::vector<HookSite> sites(const JSONNode& root) const;
    /// An up-to-date file is returned unchanged. A note names the fields of others that were on the entries that
    /// are kept and do not survive; of second copies it names none.
    std::expected<BlockInstalled, CursorHookFailure> installed(const JSONDocument& document) const;
    /// Whatever version the file states. Does not judge whether the file itself may go.
    std::expected<BlockRemoved, JSONEditFailure> removed(const JSONDocument& document,
                                                         const std::set<Created>& created) const;

    /// Whether the block is exactly what this build writes. The sites are those found in the document.
    bool converged(std::span<const HookSite> sites, const JSONDocument& document) const;

    static CursorHooksVersion version(const JSONDocument& document);
    /// nullopt if the version is not foreign.
    static std::optional<CursorHookError> versionError(const JSONDocument& document);
    /// Whether the file is what the seed becomes once our entries are removed.
    static bool isSeedResidue(const JSONDocument& document);
    /// The members of an entry in the document that `ours` does not have, as they stand in the file, but each on one
    /// line and cut behind 24 characters. `ours` is an object.
    static std::vector<std::string> foreignFields(const JSONNode& of, BytesView in, const JSONLiteral& ours);

  private:
    struct Own {
        std::string_view event;
        JSONLiteral entry;
    };
    std::vector<Own> own() const;
    HookLayout layout() const;
    /// Replaces or adds one of our entries, in a file from which all our other entries for its event were removed.
    JSONEdit::Result installed(const Own& ours, const JSONDocument& document, std::set<Created>& created,
                               std::vector<std::string>& replaced) const;
};

/// The server entry in the server file.
struct CursorMCP : ServerEntry {
    explicit CursorMCP(const CursorPaths& paths) : ServerEntry{paths.mcpBinary, Created::cursorMCPServersObject} {}
};

}  // namespace larkmoor

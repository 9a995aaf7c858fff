// Block: one piece of our wiring in a harness's file. What differs between harnesses is data and pure functions over
// the file as it was read; `BlockVerbs` runs the verbs over them.
#pragma once

#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

namespace larkmoor {

namespace JSONShape {

/// Looks for duplicate keys in the root and in every object along the path, the last one included. Returns the reason
/// why they must not be edited, or nullopt if there is no duplicate.
std::optional<std::string> duplicateAlong(const JSONNode& root, const JSONPath& path);

/// Whether the value is an empty object or array.
bool isEmptyContainer(const JSONNode& value);

}  // namespace JSONShape

struct BlockFindingCases {
    /// The file exists, but it cannot be parsed, or a duplicate key makes editing it unsafe.
    struct Unreadable {
        std::string reason;
        bool operator==(const Unreadable&) const = default;
    };
    /// Our block exists, but it is not what this build writes.
    struct Drifted {
        std::vector<std::string> reasons;
        bool operator==(const Drifted&) const = default;
    };
    /// Something else is where the block would have to be.
    struct Foreign {
        std::vector<std::string> reasons;
        bool operator==(const Foreign&) const = default;
    };
    struct FileAbsent {
        bool operator==(const FileAbsent&) const = default;
    };
    /// The file exists, without a block of ours.
    struct Absent {
        bool operator==(const Absent&) const = default;
    };
    /// The block is exactly what this build writes.
    struct Connected {
        bool operator==(const Connected&) const = default;
    };
};

/// The result of looking for one block.
using BlockFinding = ClosedVariant<BlockFindingCases, BlockFindingCases::Unreadable, BlockFindingCases::Drifted,
                                   BlockFindingCases::Foreign, BlockFindingCases::FileAbsent, BlockFindingCases::Absent,
                                   BlockFindingCases::Connected>;

/// The syntax of a file; `text` is a file that is ours as a whole.
enum class FileFormat { json, jsonWithComments, toml, text };

struct TOMLFile {
    Bytes bytes;
    TOMLDocument document;  ///< the scan of `bytes`

    static std::expected<TOMLFile, TOMLTextError> read(Bytes bytes);

    bool operator==(const TOMLFile& other) const { return bytes == other.bytes; }
};

/// A harness's file, parsed according to its format.
using FileDocument = std::variant<JSONDocument, TOMLFile, Bytes>;

namespace FileDocuments {

/// As used in messages: "this file did not read as {name}".
std::string_view name(FileFormat format);

/// The error is a text for the user.
std::expected<FileDocument, std::string> read(Bytes bytes, FileFormat format);

/// Valid as long as the document is.
BytesView bytes(const FileDocument& document);

/// Whether a JSON document is an empty object or array.
bool isEmptyTopLevel(const FileDocument& document);

}  // namespace FileDocuments

/// The file with our block in it.
struct BlockInstalled {
    FileDocument document;
    ReceiptAddition made{};               ///< what the installation had to create around the block
    std::vector<std::string> notes{};     ///< additional messages for the user, if anything was changed
    std::vector<std::string> warnings{};  ///< the same, even if nothing was changed
};

/// The file without our block.
struct BlockRemoved {
    std::optional<FileDocument> document;  ///< nullopt if the file is removed with the block
    std::vector<std::string> leftovers{};  ///< which empty containers stay, and why
};

/// Why a block is not planned, a text for the user. A reason, which is said after "nothing was written — ", converts.
struct [[nodiscard]] BlockFailure {
    std::string reason;
    bool isSentence = false;  ///< said as it is
    std::string file{};       ///< the file that it is about, if not the block's

    BlockFailure(std::string why) : reason(std::move(why)) {}
    static BlockFailure sentence(std::string text, std::string file = {}) {
        BlockFailure failure{std::move(text)};
        failure.isSentence = true;
        failure.file = std::move(file);
        return failure;
    }
};

struct Block {
    std::string_view noun;             ///< "hook entry"
    std::string command;               ///< command line that the block should run
    std::optional<Created> created{};  ///< its mark in the receipt, if the receipt decides whose the block is
    /// What is said of the block when it is connected, instead of its noun and command. Its reasons are then whole
    /// sentences, and an absent block is not mentioned.
    std::string_view sentence{};

    // `createdByUs`: the receipt contains `created`. An error is a description for the user.
    std::function<BlockFinding(const FileDocument&, bool createdByUs)> find;
    std::function<std::expected<BlockInstalled, BlockFailure>(const FileDocument&, bool createdByUs)> installed;
    std::function<std::expected<BlockRemoved, BlockFailure>(const FileDocument&, const ConnectorReceipt&)> removed;

    /// The block of a JSON file. `rules` is copied; it has `find`, `installed` and `removed` over a JSONDocument, the
    /// last with the set of `Created`, whose failures have a `description()`.
    template <class Rules>
    static Block json(std::string_view noun, std::string command, Rules rules) {
        return {.noun = noun,
                .command = std::move(command),
                .find = [rules](const FileDocument& file, bool) { return rules.find(std::get<JSONDocument>(file)); },
                .installed = [rules](const FileDocument& file,
                                     bool) { return described(rules.installed(std::get<JSONDocument>(file))); },
                .removed =
                    [rules](const FileDocument& file, const ConnectorReceipt& receipt) {
                        return described(rules.removed(std::get<JSONDocument>(file), receipt.created));
                    }};
    }

  private:
    template <class Result, class Failure>
    static std::expected<Result, std::string> described(std::expected<Result, Failure> result) {
        if (result) return std::move(*result);
        return std::unexpected{result.error().description()};
    }
};

/// What the blocks of a file may depend on besides that file: the one before it in the list of the harness's files.
struct BlockContext {
    const FileDocument* read = nullptr;     ///< null if that file does not exist or could not be parsed
    const FileDocument* planned = nullptr;  ///< as the verb leaves it, null if it removes it; in a scan as it was read
    const ConnectorReceipt& receipt;
};

/// A file with blocks of ours. They are planned in this order, each on the result of the one before.
struct BlockFile {
    std::string path;  ///< as the user knows it
    Created created;   ///< noted in the receipt when an installation creates the file
    FileFormat format = FileFormat::json;
    std::string_view seed = "{}\n";   ///< initial content of a file that does not exist
    std::string_view what = "entry";  ///< noun for our entries in it, in messages
    std::vector<Block> blocks{};
    /// Makes `blocks`, if they depend on the file before. Called for the scan and for each plan; the context is valid
    /// during the call only.
    std::function<std::vector<Block>(const BlockContext&)> blocksAfter{};

    /// `isResidue`: nothing worth keeping is left in the file, so it is deleted if we created it. `residueStays`: the
    /// message if somebody else created it.
    std::function<bool(const FileDocument&)> isResidue = FileDocuments::isEmptyTopLevel;
    std::string_view residueStays = "this file is now empty and remains, because Larkmoor did not create it";
    bool saysOldResidue = false;  ///< `residueStays` is said even if the removal leaves the file as it was
};

}  // namespace larkmoor

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
#include "LarkmoorConnectors/ConfigFile/TOMLDocument.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

namespace larkmoor {

namespace JSONShape {

/// Why nothing along the path can be edited: a name stands twice in the root or in an object on the way, that at the
/// end included. Nothing if none does.
std::optional<std::string> duplicateAlong(const JSONNode& root, const JSONPath& path);

/// Whether the value is an object or array that holds nothing.
bool isEmptyContainer(const JSONNode& value);

}  // namespace JSONShape

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

/// What was found of one block.
using BlockFinding = ClosedVariant<BlockFindingCases, BlockFindingCases::Unreadable, BlockFindingCases::Drifted,
                                   BlockFindingCases::Foreign, BlockFindingCases::FileAbsent, BlockFindingCases::Absent,
                                   BlockFindingCases::Connected>;

/// How a file is written; `text` is a file that is ours as a whole.
enum class FileFormat { json, jsonWithComments, toml, text };

struct TOMLFile {
    Bytes bytes;
    TOMLDocument document;  ///< the scan of `bytes`

    bool operator==(const TOMLFile& other) const { return bytes == other.bytes; }
};

/// A harness's file as its format reads it.
using FileDocument = std::variant<JSONDocument, TOMLFile, Bytes>;

namespace FileDocuments {

/// As it stands in sentences: "this file did not read as {name}".
std::string_view name(FileFormat format);

/// The error is for a person.
std::expected<FileDocument, std::string> read(Bytes bytes, FileFormat format);

/// Valid as long as the document is.
BytesView bytes(const FileDocument& document);

/// Whether a JSON document is an empty object or array.
bool isEmptyTopLevel(const FileDocument& document);

}  // namespace FileDocuments

/// The file with our block in it.
struct BlockInstalled {
    FileDocument document;
    ReceiptAddition made{};            ///< what this install had to make around the block
    std::vector<std::string> notes{};  ///< what the user is to hear besides, of a file that changed
};

/// The file without our block.
struct BlockRemoved {
    std::optional<FileDocument> document;  ///< nothing if the file goes with the block
    std::vector<std::string> leftovers{};  ///< what of its surroundings stays, and why
};

struct Block {
    std::string_view noun;             ///< "hook entry"
    std::string command;               ///< what the block should run
    std::optional<Created> created{};  ///< the receipt's word for the block itself, if that has a say in whose it is

    // `createdByUs`: the receipt holds `created`. A failure is a description, for a person.
    std::function<BlockFinding(const FileDocument&, bool createdByUs)> find;
    std::function<std::expected<BlockInstalled, std::string>(const FileDocument&, bool createdByUs)> installed;
    std::function<std::expected<BlockRemoved, std::string>(const FileDocument&, const ConnectorReceipt&)> removed;

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

/// A file that we write into, and its blocks in the order in which they are planned, each on what the one before left.
struct BlockFile {
    std::string path;  ///< as the user knows it
    Created created;   ///< noted when an install makes the file
    FileFormat format = FileFormat::json;
    std::string_view seed = "{}\n";   ///< what a file begins from that is not there
    std::string_view what = "entry";  ///< the noun of all that is ours in it
    std::vector<Block> blocks;

    /// Whether nothing is left that would keep a file of ours alive, and what is said if the file is not ours.
    std::function<bool(const FileDocument&)> isResidue = FileDocuments::isEmptyTopLevel;
    std::string_view residueStays = "this file is now empty and remains, because Larkmoor did not create it";
};

}  // namespace larkmoor

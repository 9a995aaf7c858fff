// The model host's store on the disk: moves a model from one store to another, or deletes it, without the host.
//
//   {store}/manifests/{registry}/{namespace}/{model}/{tag}    a JSON document for each model, which names its blobs
//   {store}/blobs/{digest}                                    its files, which models may share; ":" is written "-"
//
// A root is a folder whose store is its subfolder "models". Everything here blocks, and runs on any thread, but never
// beside another move or deletion, nor beside a host that writes to these stores.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkmoor {

/// In words for the log.
struct [[nodiscard]] ModelStoreError {
    std::string message;

    bool operator==(const ModelStoreError&) const = default;
};

namespace ModelStore {

/// The registry whose models have names without a host; the host names its folder under `manifests` so.
inline constexpr std::string_view defaultRegistry = "registry.ollama.ai";

/// The path in a store of the manifest of "gemma3:4b" or "fenwright/gemma3-4b-text". nullopt for a name without a
/// model, and for one whose path would not be four components below `manifests`, as "x:../../y".
std::optional<std::string> manifestRelPath(std::string_view name, std::string_view registry = defaultRegistry);

/// The file names of the blobs that the manifest names: the configuration, then the layers. A digest that is no plain
/// file name is left out. Empty if the manifest cannot be read, is no JSON object or is too dense for a `FlatDocument`.
std::vector<std::string> blobNames(const std::string& manifestAt);

/// The SHA-256 of a regular file, in lower-case hexadecimal.
std::expected<std::string, ModelStoreError> digest(const std::string& of);

/// Makes the file `from` available as `to`, too: by a hard link, or on another volume by a copy that is compared, is on
/// the disk before it has its name, and replaces what is there. An existing `to` stays as it is otherwise; a missing
/// `from` is no failure, but a link to nothing is one. A process that is killed while it copies leaves ".larkmoor-copy"
/// beside `to`, which the next copy removes.
std::expected<void, ModelStoreError> linkFile(const std::string& from, const std::string& to);

/// The paths of the store's manifests, sorted; links are followed.
std::vector<std::string> manifestFiles(const std::string& inModels);

/// Moves the model from the root to the store. However it ends, even if the process is killed or the power is lost, the
/// model is whole in one of the two stores at least, as far as `blobNames` knows it (of a manifest that is no JSON
/// object, the manifest moves and the blobs stay), and no blob goes that a manifest still names. Blobs that a failed
/// move left in the target are taken by the next. A model that is whole in the target is not replaced by one that is
/// not. Where both are one store, nothing changes. For a process that is killed after the source lost its manifest,
/// `deleteModel` says what remains there.
std::expected<void, ModelStoreError> moveModel(std::string_view name, const std::string& fromRoot,
                                               const std::string& toModels);

/// Deletes the model, with the blobs that no other manifest names, and returns the size of these; 0 if there is no such
/// model. Where a manifest cannot be read, the model's or one that may be another's, the blobs stay, and no later
/// deletion knows them; nor those that remain where the process is killed between the removal of the manifest and the
/// last of theirs. To look for blobs that no manifest names would take those that a host is about to name: the host
/// itself removes what is unused when it starts, unless its owner has told it not to.
std::expected<std::int64_t, ModelStoreError> deleteModel(std::string_view name, const std::string& in);

/// The path in front of the last component "models", unless that is the first: "/a/models/b" of "/a/models/b/models/c".
std::optional<std::string> instanceRootOf(std::string_view storePath);

/// Creates the folder and those above it, private to the user. Fails where the instance root still has an old folder
/// "Models", which is the same as "models" on a volume that ignores case.
std::expected<void, ModelStoreError> makeModelsDir(const std::string& path);

}  // namespace ModelStore

}  // namespace larkmoor

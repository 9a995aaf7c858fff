// The stand-in's store on the disk: manifests that name layers, and blobs named by their digests. A layer that is being
// downloaded is "{blob}-partial" until it is whole.
#pragma once

#include <chrono>
#include <expected>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "LarkmoorBase/Files.h"
#include "Layer.h"
#include "ModelName.h"

namespace larkmoor::modelhost {

LARKMOOR_RECORD(Descriptor, (std::string, mediaType), (std::string, digest), (Int, size))

LARKMOOR_RECORD(Manifest, (Int, schemaVersion), (std::string, mediaType), (Descriptor, config),
                (std::vector<Descriptor>, layers))

/// What a manifest of these layers says; the config's stands last.
Manifest manifestOf(const std::vector<Layer>& layers);

/// Any thread.
class ModelFiles {
  public:
    explicit ModelFiles(std::string folder) : folder_(std::move(folder)) {}

    struct Stored {
        ModelName name;
        Manifest manifest;
        std::string digest;  ///< of the manifest itself, in hexadecimal
        std::chrono::system_clock::time_point modified;
    };

    /// The newest first; what cannot be read is left out.
    std::vector<Stored> list() const;
    std::optional<Manifest> find(const ModelName& name) const;
    std::expected<void, FileError> write(const ModelName& name, const Manifest& manifest);
    bool copy(const ModelName& source, const ModelName& destination);
    /// The manifest, and the layers that no other manifest names.
    bool remove(const ModelName& name);

    /// Whether the blob is there in its whole size.
    bool holds(const Descriptor& descriptor) const;
    /// Whether its content is what its name says.
    bool isSound(const std::string& digest) const;
    void removeBlob(const std::string& digest);

    Int partialBytes(const Layer& layer) const;
    /// Continues the partial file at `from`, which is its size.
    std::expected<void, FileError> append(const Layer& layer, Int from, Int to);
    /// Gives the whole partial file its blob's name.
    std::expected<void, FileError> complete(const Layer& layer);
    /// All of it at once, without a request.
    std::expected<void, FileError> store(const Layer& layer);

    /// At most one download of a layer at a time: false if another has it.
    bool claim(const std::string& digest);
    void release(const std::string& digest);

  private:
    std::string manifestPath(const ModelName& name) const { return folder_ + "/manifests/" + name.path(); }
    std::string blobPath(std::string digest) const;
    std::string partialPath(const Layer& layer) const { return blobPath(layer.digest) + "-partial"; }
    std::expected<void, FileError> makeBlobs() const { return Files::makeFolders(folder_ + "/blobs", 0755); }

    const std::string folder_;
    std::mutex mutex_;  ///< of claims and of what changes several files
    std::set<std::string> claims_;
};

}  // namespace larkmoor::modelhost

#include "ModelFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorBase/SHA256.h"

namespace larkmoor::modelhost {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view digestPrefix = "sha256:";

bool isDigest(std::string_view text) {
    return text.starts_with(digestPrefix) && text.size() == digestPrefix.size() + 64 &&
           text.find_first_not_of("0123456789abcdef", digestPrefix.size()) == std::string_view::npos;
}

std::set<std::string> digestsOf(const Manifest& manifest) {
    std::set<std::string> digests{manifest.config.digest};
    for (const Descriptor& layer : manifest.layers) digests.insert(layer.digest);
    return digests;
}

std::optional<Int> sizeOf(const std::string& path) {
    std::error_code failure;
    const auto size = fs::file_size(path, failure);
    if (failure) return std::nullopt;
    return static_cast<Int>(size);
}

FileError failure(const std::string& path) { return {path, errno}; }

}  // namespace

Manifest manifestOf(const std::vector<Layer>& layers) {
    Manifest manifest{2, "application/vnd.docker.distribution.manifest.v2+json", {}, {}};
    for (const Layer& layer : layers) {
        manifest.layers.push_back(
            {manifest.layers.empty() ? "application/vnd.ollama.image.model" : "application/vnd.ollama.image.license",
             layer.digest, layer.bytes});
    }
    manifest.config = manifest.layers.back();
    manifest.config.mediaType = "application/vnd.docker.container.image.v1+json";
    manifest.layers.pop_back();
    return manifest;
}

std::string ModelFiles::blobPath(std::string digest) const {
    std::ranges::replace(digest, ':', '-');
    return folder_ + "/blobs/" + digest;
}

std::vector<ModelFiles::Stored> ModelFiles::list() const {
    const fs::path root = folder_ + "/manifests";
    std::vector<Stored> models;
    std::error_code failed;
    for (auto entry = fs::recursive_directory_iterator(root, failed); entry != fs::end(entry);
         entry.increment(failed)) {
        const fs::path relative = entry->path().lexically_relative(root);
        const std::vector<std::string> pieces{relative.begin(), relative.end()};
        if (pieces.size() != 4) continue;
        const ModelName name{pieces[0], pieces[1], pieces[2], pieces[3]};
        const auto bytes = Files::read(entry->path());
        auto manifest = bytes ? Decoder::decode<Manifest>(*bytes) : std::unexpected(CodingFailure{});
        const auto modified = Files::modified(entry->path());
        if (manifest && modified) models.push_back({name, *std::move(manifest), SHA256::ofBytes(*bytes), *modified});
    }
    std::ranges::sort(models, [](const Stored& left, const Stored& right) {
        return left.modified != right.modified ? left.modified > right.modified : left.name.path() < right.name.path();
    });
    return models;
}

std::optional<Manifest> ModelFiles::find(const ModelName& name) const {
    const auto bytes = Files::read(manifestPath(name));
    if (!bytes) return std::nullopt;
    auto manifest = Decoder::decode<Manifest>(*bytes);
    if (!manifest) return std::nullopt;
    return *std::move(manifest);
}

std::expected<void, FileError> ModelFiles::write(const ModelName& name, const Manifest& manifest) {
    const std::lock_guard lock{mutex_};
    const std::string path = manifestPath(name);
    if (auto made = Files::makeFolders(fs::path{path}.parent_path(), 0755); !made) return made;
    const auto bytes = Encoder::encode(manifest);
    return Files::replace(path, *bytes, 0644);
}

bool ModelFiles::copy(const ModelName& source, const ModelName& destination) {
    const auto manifest = find(source);
    return manifest && write(destination, *manifest);
}

bool ModelFiles::remove(const ModelName& name) {
    const auto manifest = find(name);
    const std::lock_guard lock{mutex_};
    const fs::path path = manifestPath(name);
    std::error_code ignored;
    if (!fs::remove(path, ignored)) return false;
    // The folders above, as far as they are empty now.
    for (fs::path above = path.parent_path(); above != folder_ + "/manifests" && fs::remove(above, ignored);)
        above = above.parent_path();
    if (!manifest) return true;
    std::set<std::string> unused = digestsOf(*manifest);
    for (const Stored& other : list()) {
        for (const std::string& digest : digestsOf(other.manifest)) unused.erase(digest);
    }
    for (const std::string& digest : unused) removeBlob(digest);
    return true;
}

bool ModelFiles::holds(const Descriptor& descriptor) const {
    return isDigest(descriptor.digest) && sizeOf(blobPath(descriptor.digest)) == descriptor.size;
}

bool ModelFiles::isSound(const std::string& digest) const {
    const auto found = SHA256::ofFile(blobPath(digest));
    return found && digest == std::string{digestPrefix} + *found;
}

void ModelFiles::removeBlob(const std::string& digest) {
    std::error_code ignored;
    if (isDigest(digest)) fs::remove(blobPath(digest), ignored);
}

Int ModelFiles::partialBytes(const Layer& layer) const {
    return std::min(sizeOf(partialPath(layer)).value_or(0), layer.bytes);
}

std::expected<void, FileError> ModelFiles::append(const Layer& layer, Int from, Int to) {
    if (auto made = makeBlobs(); !made) return made;
    const std::string path = partialPath(layer);
    const FileDescriptor file{::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644)};
    if (!file || ::lseek(file.get(), from, SEEK_SET) < 0) return std::unexpected(failure(path));
    Bytes piece(static_cast<std::size_t>(to - from));
    layer.read(from, piece);
    return Files::writeAll(file.get(), piece, path);
}

std::expected<void, FileError> ModelFiles::complete(const Layer& layer) {
    if (layer.bytes == 0) {
        if (auto empty = append(layer, 0, 0); !empty) return empty;
    }
    const std::string path = partialPath(layer);
    if (::rename(path.c_str(), blobPath(layer.digest).c_str()) != 0) return std::unexpected(failure(path));
    return {};
}

std::expected<void, FileError> ModelFiles::store(const Layer& layer) {
    constexpr Int pieceBytes = Int{1} << 20U;
    if (sizeOf(blobPath(layer.digest)) == layer.bytes) return {};
    for (Int at = partialBytes(layer); at < layer.bytes; at += pieceBytes) {
        if (auto appended = append(layer, at, std::min(at + pieceBytes, layer.bytes)); !appended) return appended;
    }
    return complete(layer);
}

bool ModelFiles::claim(const std::string& digest) {
    const std::lock_guard lock{mutex_};
    return claims_.insert(digest).second;
}

void ModelFiles::release(const std::string& digest) {
    const std::lock_guard lock{mutex_};
    claims_.erase(digest);
}

}  // namespace larkmoor::modelhost

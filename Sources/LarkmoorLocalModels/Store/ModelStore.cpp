#include "LarkmoorLocalModels/Store/ModelStore.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <ranges>
#include <set>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/SHA256.h"
#include "LarkmoorLocalModels/Store/ModelManifest.h"
#include "LarkmoorLocalModels/Store/StoreFile.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor::ModelStore {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view modelsFolder = "models", manifestsFolder = "manifests", blobsFolder = "blobs";
/// Of the path of a manifest below `manifests`.
constexpr int manifestDepth = 4;

std::unexpected<ModelStoreError> failure(std::string message) {
    return std::unexpected{ModelStoreError{std::move(message)}};
}

std::unexpected<ModelStoreError> failure(const FileError& error) { return failure(error.description()); }

std::vector<std::string_view> pieces(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (const auto piece : std::views::split(text, separator)) {
        if (!piece.empty()) pieces.emplace_back(piece.begin(), piece.end());
    }
    return pieces;
}

/// Of the model's name, all that is in front of the tag, at its slashes; empty where there is no model.
std::vector<std::string_view> modelPath(std::string_view name) {
    const auto parts = pieces(name, ':');
    return pieces(parts.size() >= 2 ? parts[0] : name, '/');
}

/// A name that stays where it is put.
bool isComponent(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view{"/\0", 2}) == std::string_view::npos;
}

/// Adds the manifests below the folder, `depth` components under `manifests`. False if anything was in the way of
/// seeing all: a folder, or a file, that a host may be allowed to read. A dangling link and a pipe are read by none.
bool gather(const std::string& folder, int depth, std::vector<std::string>& manifests) {
    const auto names = Files::names(folder);
    if (!names) return false;
    bool sawAll = true;
    for (const std::string& name : *names) {
        const std::string path = (fs::path{folder} / name).string();
        const auto status = StoreFile::status(path);
        if (!status) {
            sawAll = false;
        } else if (!*status) {
            continue;
        } else if (S_ISDIR((*status)->st_mode)) {
            if (depth + 1 < manifestDepth) sawAll = gather(path, depth + 1, manifests) && sawAll;
        } else if (depth + 1 == manifestDepth && S_ISREG((*status)->st_mode)) {
            manifests.push_back(path);
        }
    }
    return sawAll;
}

/// Those of the blobs that no manifest in the store can need. Where one cannot be read that is none: the host may still
/// read it, and its blobs may be gigabytes.
std::set<std::string> orphans(std::set<std::string> blobs, const fs::path& store) {
    std::vector<std::string> manifests;
    if (!gather((store / manifestsFolder).string(), 0, manifests)) return {};
    for (const std::string& path : manifests) {
        if (blobs.empty()) break;
        const auto manifest = Files::read(path);
        if (!manifest) return {};
        ModelManifest::eraseMentioned(*manifest, blobs);
    }
    return blobs;
}

/// The folder in which the topmost folder that a new store needs is made.
std::string existingAbove(const fs::path& store) {
    fs::path above = store.parent_path();
    while (above != above.parent_path() && !Files::exists(above.string())) above = above.parent_path();
    return above.string();
}

/// Whether the store has the blobs of a model, and there are any.
bool hasAll(const std::vector<std::string>& blobs, const fs::path& store) {
    const auto has = [&store](const std::string& blob) { return Files::exists((store / blobsFolder / blob).string()); };
    return !blobs.empty() && std::ranges::all_of(blobs, has);
}

/// Puts a blob of the store `source` into the store `target`.
std::expected<void, ModelStoreError> place(const std::string& blob, const fs::path& source, const fs::path& target) {
    const std::string from = (source / blobsFolder / blob).string(), to = (target / blobsFolder / blob).string();
    if (auto linked = linkFile(from, to); !linked) return linked;
    const auto there = StoreFile::status(from);
    if (!there) return std::unexpected{there.error()};
    if (!*there) return {};
    const bool isOne = StoreFile::areOne(from, to);
    // A symbolic link into the other store ends with what it points to.
    if (isOne && !StoreFile::isLink(to)) return {};
    const auto isNamed = [&blob](const auto& digest) { return digest && blob == "sha256-" + *digest; };
    const auto others = isOne ? failure("") : digest(to);
    if (isNamed(others)) return {};
    const auto own = digest(from);
    if (!own) return std::unexpected{own.error()};
    if (others == own) return {};
    // Something else has the blob's name in the target. Only a file that is what the name says may replace it.
    if (!isNamed(own)) return failure("a model layer did not copy whole");
    return StoreFile::copy(from, to, (target / blobsFolder / StoreFile::temporaryName).string());
}

}  // namespace

std::optional<std::string> manifestRelPath(std::string_view name, std::string_view registry) {
    const auto parts = pieces(name, ':');
    const auto path = modelPath(name);
    if (path.empty()) return std::nullopt;
    const std::string_view model = path.back(), tag = parts.size() >= 2 ? parts[1] : "latest";
    const std::string_view space = path.size() > 1 ? path[path.size() - 2] : "library";
    if (!std::ranges::all_of(std::array{registry, space, model, tag}, isComponent)) return std::nullopt;
    return fmt::format("{}/{}/{}/{}/{}", manifestsFolder, registry, space, model, tag);
}

std::vector<std::string> blobNames(const std::string& manifestAt) {
    const auto manifest = Files::read(manifestAt);
    return manifest ? ModelManifest::blobNames(*manifest) : std::vector<std::string>{};
}

std::expected<std::string, ModelStoreError> digest(const std::string& of) {
    auto digest = SHA256::ofFile(of);
    if (!digest) return failure(fmt::format("could not read {}", fs::path{of}.filename().string()));
    return std::move(*digest);
}

std::expected<void, ModelStoreError> linkFile(const std::string& from, const std::string& to) {
    const auto refused = [](int code) {
        return failure(fmt::format("a model layer could not be linked (errno {})", code));
    };
    const auto source = StoreFile::status(from);
    if (!source) return std::unexpected{source.error()};
    const std::optional<struct stat>& file = *source;
    if (!file && StoreFile::isDangling(from)) return refused(ENOENT);
    if (!file) return {};
    if (!S_ISREG(file->st_mode)) return refused(EPERM);
    // Of a symbolic link, the file that it leads to: the link itself may be relative to its folder.
    if (::linkat(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), AT_SYMLINK_FOLLOW) == 0 || errno == EEXIST) return {};
    if (errno != EXDEV) return refused(errno);
    return StoreFile::copy(from, to, (fs::path{to}.parent_path() / StoreFile::temporaryName).string());
}

std::vector<std::string> manifestFiles(const std::string& inModels) {
    std::vector<std::string> manifests;
    gather((fs::path{inModels} / manifestsFolder).string(), 0, manifests);
    return manifests;
}

std::expected<void, ModelStoreError> moveModel(std::string_view name, const std::string& fromRoot,
                                               const std::string& toModels) {
    const auto rel = manifestRelPath(name);
    if (!rel) {
        return failure(modelPath(name).empty() ? "a model with no name cannot be moved"
                                               : fmt::format("no store can have a model named {}", name));
    }
    std::error_code failed;
    const fs::path source = fs::path{fromRoot} / modelsFolder, target = fs::absolute(toModels, failed);
    if (failed) return failure(FileError{toModels, failed.value()});
    const std::string from = (source / *rel).string(), to = (target / *rel).string();
    const std::string sourceBlobs = (source / blobsFolder).string(), targetBlobs = (target / blobsFolder).string();
    const auto status = StoreFile::status(from);
    if (!status) return std::unexpected{status.error()};
    if (!*status) return failure(fmt::format("the host wrote no manifest for {}", name));
    const auto manifest = Files::read(from);
    if (!manifest) return failure(manifest.error());
    const auto blobs = ModelManifest::blobNames(*manifest);
    if (StoreFile::isDangling(sourceBlobs)) return failure(FileError{sourceBlobs, ENOENT});

    const std::string above = existingAbove(target);
    if (auto made = makeModelsDir(targetBlobs); !made) return made;
    for (const std::string& blob : blobs) {
        if (auto placed = place(blob, source, target); !placed) return placed;
    }
    if (!hasAll(blobs, target) && hasAll(blobNames(to), target)) {
        return failure(fmt::format("{} is whole in the target, and the one that was to replace it is not", name));
    }
    const std::string fromFolder = fs::path{from}.parent_path().string(),
                      toFolder = fs::path{to}.parent_path().string();
    if (auto made = makeModelsDir(toFolder); !made) return made;
    if (StoreFile::areOne(fromFolder, toFolder)) return {};
    // Not beside the manifest, where the host and we would take it for one.
    const std::string temporary = (target / manifestsFolder / StoreFile::temporaryName).string();
    if (auto copied = StoreFile::copy(from, to, temporary); !copied) return copied;
    // One volume brings names to the disk in the order of their changes; two know nothing of each other.
    if (!StoreFile::areOnOneVolume({fromFolder, toFolder, sourceBlobs, targetBlobs})) {
        if (auto synced = StoreFile::sync(targetBlobs, target.string()); !synced) return synced;
        if (auto synced = StoreFile::sync(toFolder, above); !synced) return synced;
    }

    if (::unlink(from.c_str()) != 0) return failure(FileError{from, errno});
    if (StoreFile::areOne(sourceBlobs, targetBlobs)) return {};
    for (const std::string& blob : orphans({blobs.begin(), blobs.end()}, source)) {
        ::unlink((source / blobsFolder / blob).c_str());
    }
    return {};
}

std::expected<std::int64_t, ModelStoreError> deleteModel(std::string_view name, const std::string& in) {
    const auto rel = manifestRelPath(name);
    if (!rel) return 0;
    const fs::path store = fs::path{in} / modelsFolder;
    const std::string path = (store / *rel).string();
    const auto status = StoreFile::status(path);
    if (!status) return std::unexpected{status.error()};
    const std::optional<struct stat>& file = *status;
    if (!file || S_ISDIR(file->st_mode)) return 0;
    const auto blobs = blobNames(path);

    if (::unlink(path.c_str()) != 0) return failure(FileError{path, errno});
    std::int64_t freed = 0;
    // Only now is it sure that this manifest, which may have several paths, is none of the others.
    for (const std::string& blob : orphans({blobs.begin(), blobs.end()}, store)) {
        const std::string orphan = (store / blobsFolder / blob).string();
        struct stat size{};
        const bool isFile = ::lstat(orphan.c_str(), &size) == 0 && S_ISREG(size.st_mode);
        if (::unlink(orphan.c_str()) == 0 && isFile) freed += size.st_size;
    }
    return freed;
}

std::optional<std::string> instanceRootOf(std::string_view storePath) {
    const fs::path path{storePath};
    for (fs::path above = path; above.has_relative_path(); above = above.parent_path()) {
        if (above.filename() == modelsFolder && above.has_parent_path()) return above.parent_path().string();
    }
    return std::nullopt;
}

std::expected<void, ModelStoreError> makeModelsDir(const std::string& path) {
    if (const auto root = instanceRootOf(path)) {
        const auto names = Files::names(*root);
        if (names && std::ranges::binary_search(*names, std::string_view{"Models"})) {
            return failure(
                "the old Models folder is still in the instance root, and on this volume it IS `models` — a store made "
                "now would land inside it; the layout migration parks it first");
        }
    }
    if (auto made = Files::makeFolders(path, ClientStoreMode::folder); !made) return failure(made.error());
    return {};
}

}  // namespace larkmoor::ModelStore

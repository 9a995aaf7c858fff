#include "LarkmoorVerify/BundleSeal.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <optional>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/SHA256.h"

namespace larkmoor::BundleSeal {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view manifestPlace = "Contents/Seal/manifest";
constexpr std::string_view firstLine = "larkmoor-manifest 1";
constexpr std::size_t maxEntries = 20'000;

std::string manifestOf(const std::string& bundle) { return fmt::format("{}/{}", bundle, manifestPlace); }

/// Lines of the manifest by path.
using Lines = std::map<std::string, std::string, std::less<>>;

std::expected<std::string, Objection> line(const std::string& path, const std::string& name) {
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0) return std::unexpected{FileError{path, errno}};
    const mode_t mode = status.st_mode & 07777U;
    if (S_ISDIR(status.st_mode)) return fmt::format("folder\t{:04o}\t{}", mode, name);
    if (S_ISLNK(status.st_mode)) {
        std::error_code failed;
        const std::string target = fs::read_symlink(path, failed).string();
        if (failed) return std::unexpected{FileError{path, failed.value()}};
        return fmt::format("link\t{}\t{}", target, name);
    }
    if (!S_ISREG(status.st_mode)) return std::unexpected{name + ": neither a file nor a folder nor a link"};
    const auto digest = SHA256::ofFile(path);
    if (!digest) return std::unexpected{digest.error()};
    return fmt::format("file\t{:04o}\t{}\t{}", mode, *digest, name);
}

/// What the manifest would say of the bundle as it is now.
std::expected<Lines, Objection> present(const std::string& bundle) {
    Lines lines;
    std::error_code failed;
    for (fs::recursive_directory_iterator entry{bundle, failed}, end; !failed && entry != end;
         entry.increment(failed)) {
        const std::string path = entry->path().string(), name = path.substr(bundle.size() + 1);
        if (name == manifestPlace || name == fmt::format("{}{}", manifestPlace, Seal::suffix)) continue;
        if (lines.size() == maxEntries) return std::unexpected{fmt::format("more than {} entries", maxEntries)};
        auto told = line(path, name);
        if (!told) return std::unexpected{std::move(told.error())};
        lines.emplace(name, *std::move(told));
    }
    if (failed) return std::unexpected{FileError{bundle, failed.value()}};
    return lines;
}

/// What no manifest lists.
std::optional<Objection> unlistedObjection(const std::string& bundle) {
    constexpr mode_t folderMode = S_IFDIR | 0755;
    struct stat status{};
    if (::stat(bundle.c_str(), &status) != 0) return FileError{bundle, errno};
    if (status.st_mode != folderMode) return bundle + ": not as it was sealed";
    const std::string manifest = manifestOf(bundle);
    for (const std::string& path : {manifest, fmt::format("{}{}", manifest, Seal::suffix)}) {
        if (::lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return path + ": not a regular file";
    }
    return std::nullopt;
}

/// Nothing for what is no manifest.
std::optional<Lines> sealed(std::string_view manifest) {
    Lines lines;
    bool isFirst = true;
    while (!manifest.empty()) {
        const std::size_t end = manifest.find('\n');
        if (end == std::string_view::npos) return std::nullopt;
        const std::string_view told = manifest.substr(0, end);
        manifest.remove_prefix(end + 1);
        if (std::exchange(isFirst, false)) {
            if (told != firstLine) return std::nullopt;
            continue;
        }
        const std::size_t name = told.rfind('\t') + 1;
        if (!lines.emplace(told.substr(name), told).second) return std::nullopt;
    }
    return isFirst ? std::nullopt : std::optional{std::move(lines)};
}

std::optional<Words> difference(const Lines& sealedLines, const Lines& presentLines) {
    for (const auto& [name, told] : sealedLines) {
        const auto found = presentLines.find(name);
        if (found == presentLines.end()) return name + ": missing from the sealed bundle";
        if (found->second != told) return name + ": not as it was sealed";
    }
    for (const auto& [name, told] : presentLines) {
        if (!sealedLines.contains(name)) return name + ": added to the sealed bundle";
    }
    return std::nullopt;
}

}  // namespace

std::expected<PublicKey, Objection> signer(const std::string& bundle) { return Seal::check(manifestOf(bundle)); }

std::expected<PublicKey, Objection> check(const std::string& bundle) {
    if (auto words = unlistedObjection(bundle)) return std::unexpected{*std::move(words)};
    auto key = signer(bundle);
    if (!key) return key;
    const auto bytes = Files::read(manifestOf(bundle));
    if (!bytes) return std::unexpected{bytes.error()};
    const auto wanted = sealed(asText(*bytes));
    if (!wanted) return std::unexpected{manifestOf(bundle) + ": not a manifest"};
    const auto found = present(bundle);
    if (!found) return std::unexpected{found.error()};
    if (auto words = difference(*wanted, *found)) return std::unexpected{*std::move(words)};
    return key;
}

}  // namespace larkmoor::BundleSeal

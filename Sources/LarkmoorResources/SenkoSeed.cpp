#include "LarkmoorResources/SenkoSeed.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <expected>
#include <filesystem>
#include <system_error>
#include <vector>

#include "LarkmoorBase/DurableFiles.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/WholeNumber.h"

namespace larkmoor::SenkoSeed {

namespace fs = std::filesystem;

namespace {

using Copied = std::expected<void, FileError>;

/// No model is nested as deep; a folder that is its own mount point would never end.
constexpr int maxDepth = 32;
constexpr mode_t privateFile = 0600, privateFolder = 0700;

std::unexpected<FileError> failure(const std::string& path, int code = errno) {
    return std::unexpected(FileError{path, code});
}

std::string stagingPrefix(const fs::path& target) { return "." + target.filename().string() + ".seeding-"; }

Copied notCopied(const std::string& path) {
    return std::unexpected(FileError{path, EINVAL, "it is neither a folder nor a regular file"});
}

/// It may have become a link or a pipe since the folder was listed.
Copied copyFile(const std::string& from, const std::string& to) {
    if (auto copied = DurableFiles::copy(from, to, privateFile); !copied) {
        return std::unexpected(std::move(copied.error()));
    }
    return {};
}

Copied copyFolder(const std::string& from, const std::string& to, int depth = 0) {
    if (depth == maxDepth) return std::unexpected(FileError{from, ELOOP, "its folders are nested too deep"});
    const auto names = Files::names(from);
    if (!names) return std::unexpected(FileError{from, EIO, "it cannot be listed"});
    if (::mkdir(to.c_str(), privateFolder) != 0) return failure(to);
    for (const std::string& name : *names) {
        const std::string source = from + "/" + name, copy = to + "/" + name;
        struct stat status{};
        if (::lstat(source.c_str(), &status) != 0) return failure(source);
        auto copied = S_ISDIR(status.st_mode)   ? copyFolder(source, copy, depth + 1)
                      : S_ISREG(status.st_mode) ? copyFile(source, copy)
                                                : notCopied(source);
        if (!copied) return copied;
    }
    return DurableFiles::syncFolder(to);
}

/// Nothing if the target may be made; otherwise why it may not.
std::optional<Outcome> obstacle(const std::string& target) {
    struct stat status{};
    if (::lstat(target.c_str(), &status) != 0) {
        if (errno == ENOENT) return std::nullopt;
        return OutcomeCases::Failed{FileError{target, errno}.description()};
    }
    const auto entries = Files::names(target);
    if (entries && !entries->empty()) return OutcomeCases::Present{};
    if (S_ISLNK(status.st_mode)) return OutcomeCases::Failed{FileError{target, EINVAL, "it is a link"}.description()};
    if (!S_ISDIR(status.st_mode)) return OutcomeCases::Failed{FileError{target, ENOTDIR}.description()};
    if (!entries) return OutcomeCases::Failed{FileError{target, EACCES}.description()};
    return std::nullopt;
}

/// From the bundle to the staging folder, verified, to its place. The error is for a person.
std::expected<void, std::string> install(const std::string& bundle, const Census& expected, const std::string& staging,
                                         const std::string& target) {
    const auto words = [](const FileError& error) { return std::unexpected(error.description()); };
    if (auto copied = copyFolder(bundle, staging); !copied) return words(copied.error());
    const auto copy = census(staging);
    if (!copy) return words({staging, EIO});
    if (*copy != expected) {
        return std::unexpected(fmt::format("verify failed: files {}→{} bytes {}→{}", expected.files, copy->files,
                                           expected.bytes, copy->bytes));
    }
    // Takes the place of an empty folder in the same step, and fails if it is not empty any more.
    if (std::rename(staging.c_str(), target.c_str()) != 0) return words({target, errno});
    // If this is lost, so is the rename as a whole.
    static_cast<void>(DurableFiles::syncFolder(fs::path{target}.parent_path().string()));
    return {};
}

bool isGone(pid_t process) { return process == ::getpid() || (::kill(process, 0) != 0 && errno == ESRCH); }

}  // namespace

std::optional<Census> census(const std::string& folder) {
    Census found;
    std::error_code failed;
    for (fs::recursive_directory_iterator entry{folder, failed}, end; !failed && entry != end;
         entry.increment(failed)) {
        if (entry->symlink_status(failed).type() != fs::file_type::regular) continue;
        ++found.files;
        found.bytes += static_cast<std::int64_t>(entry->file_size(failed));
        if (failed) return std::nullopt;
    }
    if (failed) return std::nullopt;
    return found;
}

Outcome seed(const std::string& bundleDir, const std::string& supportDir) {
    removeAbandoned(supportDir);
    const auto bundled = census(bundleDir);
    if (!bundled || bundled->files < 1) return OutcomeCases::BundleMissing{bundleDir};
    if (auto inTheWay = obstacle(supportDir)) return *std::move(inTheWay);
    const fs::path target{supportDir};
    if (auto made = Files::makeFolders(target.parent_path().string(), privateFolder); !made)
        return OutcomeCases::Failed{made.error().description()};
    const std::string staging = target.parent_path() / (stagingPrefix(target) + std::to_string(::getpid()));
    if (auto installed = install(bundleDir, *bundled, staging, supportDir); !installed) {
        std::error_code ignored;
        fs::remove_all(staging, ignored);
        return OutcomeCases::Failed{std::move(installed.error())};
    }
    return OutcomeCases::Seeded{.files = bundled->files, .bytes = bundled->bytes};
}

void removeAbandoned(const std::string& supportDir) {
    const fs::path target{supportDir};
    const std::string prefix = stagingPrefix(target);
    for (const std::string& name : Files::names(target.parent_path().string()).value_or(std::vector<std::string>{})) {
        if (!name.starts_with(prefix)) continue;
        const auto process = wholeNumber<pid_t>(std::string_view{name}.substr(prefix.size()));
        if (!process || *process < 1 || !isGone(*process)) continue;
        const fs::path staging = target.parent_path() / name;
        std::error_code ignored;
        if (fs::symlink_status(staging, ignored).type() == fs::file_type::directory) fs::remove_all(staging, ignored);
    }
}

}  // namespace larkmoor::SenkoSeed

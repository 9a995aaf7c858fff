#include "LarkmoorLocalModels/Runtime/RuntimeArchive.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/SHA256.h"
#include "LarkmoorKit/Archive/Tar.h"
#include "LarkmoorLocalModels/Runtime/RuntimeProof.h"
#include "LarkmoorLocalModels/Runtime/RuntimeTools.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor {

namespace {

namespace fs = std::filesystem;

using Done = std::expected<void, SetupError>;

constexpr std::string_view wouldNotUnpack = "the runtime archive would not unpack";
constexpr const char* compression = "-z";

std::unexpected<SetupError> refusal(std::string_view why) {
    return std::unexpected(SetupError{fmt::format("{} ({})", wouldNotUnpack, why)});
}

std::string stagingIn(const fs::path& folder) { return (folder / ".unpacking").string(); }

Task<Done> judge(ProcessRunner& runner, std::string archive, std::stop_token stop) {
    const auto objection = co_await Tar::objection(runner, std::move(archive), compression, stop);
    if (stop.stop_requested()) co_return std::unexpected(SetupError{"cancelled"});
    if (objection) co_return refusal(*objection);
    co_return Done{};
}

std::unexpected<SetupError> failure(const fs::path& path, const std::error_code& failed) {
    return std::unexpected(SetupError{FileError{path.string(), failed.value()}.description()});
}

/// Moves what is in the staging folder into the one above it, over what is there.
Done moveOut(const fs::path& staging, const fs::path& folder) {
    std::error_code failed;
    for (const std::string& name : Files::names(staging.string()).value_or(std::vector<std::string>{})) {
        fs::remove_all(folder / name, failed);
        if (!failed) fs::rename(staging / name, folder / name, failed);
        if (failed) return failure(folder / name, failed);
    }
    return {};
}

/// Whether the file of that relative path came out of the archive, and its digest if so.
std::optional<std::string> digestOf(const fs::path& file) {
    std::error_code failed;
    if (!fs::is_regular_file(file, failed)) return std::nullopt;
    const auto digest = SHA256::ofFile(file.string());
    return digest ? std::optional{*digest} : std::nullopt;
}

/// With the names that are brought. By a link the folder may be one of the user's, of which nothing is replaced, and in
/// which every name of ours is written down before it is there. None in a folder of our own.
std::expected<std::vector<std::string>, SetupError> entriesBehindLink(const std::vector<std::string>& brought,
                                                                      const std::string& binary) {
    const fs::path folder = fs::path{binary}.parent_path();
    std::error_code failed;
    if (!fs::is_symlink(folder, failed)) return {};
    const auto notOurs = [](const fs::path& path) { return refusal(fmt::format("{} is not ours", path.string())); };
    const auto recorded = RuntimeProof::entries(binary);
    for (const std::string& path : {binary, RuntimeProof::path(binary)}) {
        if (!recorded && Files::isTaken(path)) return notOurs(path);
    }
    auto entries = recorded.value_or(std::vector<std::string>{});
    for (const std::string& name : brought) {
        if (std::ranges::find(entries, name) != entries.end()) continue;
        const bool isOurs = recorded && (recorded->empty() || folder / name == binary);
        if (!isOurs && Files::isTaken(folder / name)) return notOurs(folder / name);
        entries.push_back(name);
    }
    return entries;
}

Done place(const std::string& binary, const RuntimeRelease& release) {
    const fs::path folder = fs::path{binary}.parent_path();
    const fs::path staging = stagingIn(folder);
    const std::string proof = RuntimeProof::path(binary);
    std::error_code failed;
    if (fs::exists(staging / fs::path{proof}.filename(), failed)) return refusal("it brings its own proof");
    const auto brought = Files::names(staging.string()).value_or(std::vector<std::string>{});
    const auto entries = entriesBehindLink(brought, binary);
    if (!entries) return std::unexpected(entries.error());
    const auto digest = digestOf(staging / release.executable);
    if (entries->empty()) {
        fs::remove(proof, failed);
    } else if (auto written = RuntimeProof::write(binary, RuntimeProof::unproven, *entries); !written) {
        return std::unexpected(SetupError{written.error().description()});
    }
    if (!failed && digest) fs::remove(binary, failed);
    if (failed) return failure(binary, failed);
    if (auto moved = moveOut(staging, folder); !moved) return moved;
    fs::remove(staging, failed);
    if (failed) return failure(staging, failed);
    if (!digest) return {};
    if (folder / release.executable != fs::path{binary}) {
        fs::create_symlink(release.executable, binary, failed);
        if (failed) return failure(binary, failed);
    }
    if (auto written = RuntimeProof::write(binary, *digest, *entries); !written) {
        return std::unexpected(SetupError{written.error().description()});
    }
    return {};
}

Done prepareStaging(const std::string& staging) {
    // The tar of a process that was killed may still be unpacking into it.
    constexpr int attempts = 50;
    std::error_code failed;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        fs::remove_all(staging, failed);
        if (!failed) break;
    }
    if (failed) return failure(staging, failed);
    const auto made = Files::makeFolders(staging, ClientStoreMode::folder);
    if (!made) return std::unexpected(SetupError{made.error().description()});
    return {};
}

/// The digest matches, or the archive is gone.
Done prove(const std::string& archive, const std::string& pin) {
    const std::string digest = SHA256::ofFile(archive).value_or("unreadable");
    if (digest == pin) return {};
    ::unlink(archive.c_str());
    return std::unexpected(SetupError{
        fmt::format("the downloaded runtime did not match its pinned fingerprint (expected {}, got {})", pin, digest)});
}

}  // namespace

Done mayUnpack(const std::string& binary, const RuntimeRelease& release) {
    const auto entries = entriesBehindLink({release.executable.substr(0, release.executable.find('/'))}, binary);
    if (!entries) return std::unexpected(entries.error());
    return {};
}

void removeUnfinishedUnpacking(const std::string& binary) {
    std::error_code ignored;
    fs::remove_all(stagingIn(fs::path{binary}.parent_path()), ignored);
}

Task<std::expected<void, SetupError>> unpackPinned(ProcessRunner& runner, std::string archive, std::string binary,
                                                   RuntimeRelease release, std::stop_token stop) {
    auto done = co_await BlockingWork::run([archive, pin = release.fingerprint] { return prove(archive, pin); });
    if (done) done = co_await judge(runner, archive, stop);
    if (!done) co_return done;
    const std::string staging = stagingIn(fs::path{binary}.parent_path());
    done = co_await BlockingWork::run([staging] { return prepareStaging(staging); });
    if (done) {
        done = co_await runTool(runner, Tar::program, Tar::unpacking(archive, compression, staging, false),
                                std::string{wouldNotUnpack}, stop);
    }
    if (done) done = co_await BlockingWork::run([binary, release] { return place(binary, release); });
    co_await BlockingWork::run([binary] { removeUnfinishedUnpacking(binary); });
    co_return done;
}

}  // namespace larkmoor

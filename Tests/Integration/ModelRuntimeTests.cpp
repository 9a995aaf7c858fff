// The model runtime's archive with the real tar: what it unpacks to, what is refused, and what verifies afterwards.
#include <fmt/ranges.h>

#include "LarkmoorBase/SHA256.h"
#include "LarkmoorLocalModels/Runtime/ManagedRuntime.h"
#include "LarkmoorLocalModels/Runtime/RuntimeArchive.h"
#include "LarkmoorLocalModels/Runtime/RuntimePartials.h"
#include "LarkmoorLocalModels/Runtime/RuntimeProof.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "Support/RunTool.h"
#include "Support/RunUntil.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using ::testing::HasSubstr;

/// Answers with a file's bytes, if the status is 200.
struct FileFetch final : Fetch {
    Task<std::expected<std::int64_t, FetchFailure>> fetch(FetchRequest request, FetchListener listener,
                                                          std::stop_token) override {
        ++calls;
        listener.head({.status = status, .host = "h", .length = length});
        if (status != 200) co_return std::unexpected(FetchFailure{"h answers"});
        listener.firstByte();
        listener.progress(65536);
        std::filesystem::copy_file(file, std::get<FetchTargets::NewFile>(request.target).path);
        co_return 65540;
    }
    std::string file;
    int status = 200, calls = 0;
    std::optional<std::int64_t> length = 65540;
};

struct ModelRuntimeTests : ::testing::Test {
    testing::TemporaryFolder folder;
    MainLoop loop;
    SpawningProcessRunner runner{loop};
    FileFetch fetch;
    std::string archive = folder / "archive.tgz", binary = folder / "naming/runtime/ollama", log;
    std::vector<Transfer> transfers;

    /// `entries` is Python: calls of add(name, bytes, attribute=value...).
    RuntimeRelease pack(const std::string& entries, const std::string& executable = "bin/ollama") {
        const auto run = testing::runTool({"/usr/bin/python3", "-c", R"(
import io, sys, tarfile
with tarfile.open(sys.argv[1], "w:gz", format=tarfile.GNU_FORMAT) as archive:
    def add(name, data=b"", **attributes):
        info = tarfile.TarInfo(name)
        info.mode, info.size = 0o755, len(data)
        for key, value in attributes.items(): setattr(info, key, value)
        archive.addfile(info, io.BytesIO(data))
    LINK, HARD, DIR, CHAR, FIFO = tarfile.SYMTYPE, tarfile.LNKTYPE, tarfile.DIRTYPE, tarfile.CHRTYPE, tarfile.FIFOTYPE
    def link(name, target, type=LINK): add(name, type=type, linkname=target)
)" + ("    " + entries),
                                           archive});
        EXPECT_EQ(run.status, 0) << run.err;
        return {.url = "https://h/x.tgz", .fingerprint = *SHA256::ofFile(archive), .executable = executable};
    }
    std::string unpack(const RuntimeRelease& release) {
        const auto done = testing::runTask(loop, unpackPinned(runner, archive, binary, release));
        return !done ? "no end" : *done ? "" : done->error().message;
    }
    RuntimeSetup setup(const RuntimeRelease& release) {
        fetch.file = archive;
        return {.runner = &runner,
                .fetch = &fetch,
                .places = {.ourBinaries = {binary, folder / "old"},
                           .usersBinaries = {folder / "theirs"},
                           .temporaryFolder = folder / "t"},
                .release = release,
                .log = [this](const std::string& line) { log += line + "\n"; }};
    }
    std::string fetchAll(const RuntimeRelease& release) {
        std::filesystem::create_directories(folder / "t");
        const auto done =
            testing::runTask(loop, fetchRuntime(setup(release), [this](Transfer each) { transfers.push_back(each); }));
        EXPECT_TRUE(std::filesystem::is_empty(folder / "t")) << "a partial stays";
        return !done ? "no end" : *done ? **done : done->error().message;
    }
    std::string find() { return testing::runTask(loop, findTrustedRuntime(setup({})))->value_or("none"); }
    const std::string good =
        "add('bin/ollama', b'#!/bin/sh'); add('lib/a', b'a'); link('lib/b', '../lib/a'); link('lib/c', 'lib/a', HARD)";
};

TEST_F(ModelRuntimeTests, RefusesWhatLeadsOutAndLeavesNothing) {
    struct Case {
        std::string entries;
        std::string_view want;
    };
    const Case table[] = {
        {"add('/etc/x')", "/etc/x: it leads out"},
        {"add('a/../../x')", "it leads out"},
        {"link('a', '/etc')", "a link that leads out"},
        {"link('a', '..')", "a link that leads out"},
        {"link('d/a', '../../x')", "a link that leads out"},
        {"link('a', 'b/../..')", "a link that leads out"},
        {"link('a', '.'); add('a/x')", "a/x: it lies below what is no folder"},
        {"add('a/x'); link('a', '.')", "it lies below what is no folder"},
        {"link('a', 'b'); add('a')", "it is there twice"},
        {"link('a', '/etc/passwd', HARD)", "a link to no file"},
        {"link('b', 'c'); link('a', 'b', HARD)", "a link to no file"},
        {"add('a', type=CHAR)", "neither a file"},
        {"add('a', type=FIFO)", "neither a file"},
        {"add('a', mode=0o4755)", "set-user"},
        {"add('a', type=DIR, mode=0o500)", "closed"},
        {"add('a\\nb')", "not understood"},
        {"for n in range(30000): add(str(n))", "more than 20000 entries"},
        {"add('ollama.sha256'); add('bin/ollama')", "its own proof"},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.entries);
        EXPECT_THAT(
            unpack(pack(row.entries)),
            ::testing::AllOf(::testing::StartsWith("the runtime archive would not unpack ("), HasSubstr(row.want)));
        const auto left = Files::names(folder / "naming/runtime");
        EXPECT_TRUE(!left || left->empty());
    }
    EXPECT_EQ(
        testing::runTool({"/bin/sh", "-c", "cd $0; truncate -s 20G a; tar -Sczf archive.tgz a", folder / ""}).status,
        0);
    EXPECT_THAT(unpack({.url = {}, .fingerprint = *SHA256::ofFile(archive), .executable = "a"}),
                HasSubstr("(more than"));
    const RuntimeRelease release = pack(good);
    const Bytes whole = *Files::read(archive);
    Bytes cut{whole.begin(), whole.end() - 30}, flipped = whole;
    flipped[40] ^= std::byte{1};
    for (const Bytes& bytes : {cut, flipped}) {
        ASSERT_TRUE(Files::replace(archive, bytes, 0600));
        EXPECT_EQ(unpack(release), "the downloaded runtime did not match its pinned fingerprint (expected " +
                                       release.fingerprint + ", got " + SHA256::ofBytes(bytes) + ")");
        EXPECT_FALSE(Files::exists(archive));
    }
    EXPECT_THAT(unpack(release), HasSubstr("got unreadable)"));
    ASSERT_TRUE(Files::replace(archive, cut, 0600));
    EXPECT_THAT(unpack({.url = {}, .fingerprint = SHA256::ofBytes(cut), .executable = "a"}),
                HasSubstr("unexpected end of file"));
}

TEST_F(ModelRuntimeTests, TheFetchedRuntimeVerifiesUntilOneByteChanges) {
    const RuntimeRelease release = pack(good);
    ASSERT_EQ(fetchAll(release), binary) << log;
    const std::string t = "telemetry runtime ", at = " elapsed=[0-9.]+s";
    const std::string lines[] = {"request-start url=https://h/x.tgz",
                                 "response host=h status=200" + at + " expected-bytes=65540",
                                 "first-byte" + at,
                                 "download-done bytes=65540" + at + " rate=[0-9]+KB/s",
                                 "unpack-done" + at,
                                 "verify-done" + at};
    EXPECT_THAT(log, ::testing::MatchesRegex(t + fmt::format("{}", fmt::join(lines, "\n" + t)) + "\n"));
    EXPECT_EQ(transfers, (std::vector<Transfer>{{65536, 65540}}));
    EXPECT_EQ(std::filesystem::read_symlink(binary), "bin/ollama");
    EXPECT_EQ(Files::names(folder / "naming/runtime"),
              (std::vector<std::string>{"bin", "lib", "ollama", "ollama.sha256"}));
    EXPECT_EQ(Files::permissions(RuntimeProof::path(binary)), 0600);
    ASSERT_TRUE(Files::create(folder / "t/larkmoor-ollama-0.tgz", {}, 0600));
    EXPECT_EQ(find(), binary);
    // A second one replaces the first; with the executable at the top there is no link.
    ASSERT_EQ(fetchAll(pack("add('ollama', b'two'); add('lib/n', b'')", "ollama")), binary);
    EXPECT_FALSE(std::filesystem::is_symlink(binary) || Files::exists(folder / "naming/runtime/lib/a"));
    log.clear();
    ASSERT_TRUE(Files::replace(folder / "theirs", {}, 0700));
    ASSERT_TRUE(Files::replace(binary, asBytes("twp"), 0755));
    EXPECT_EQ(find(), folder / "theirs") << "taken as it is";
    EXPECT_EQ(log, "model-setup: the managed runtime at " + binary +
                       " did not verify (a killed fetch leaves one behind) — deleting it and fetching again\n");
    EXPECT_FALSE(Files::exists(binary));
    std::filesystem::permissions(folder / "theirs", std::filesystem::perms::owner_read);
    EXPECT_EQ(find(), "none");
}

TEST_F(ModelRuntimeTests, ReplacesNothingOfTheUsersBehindALink) {
    const std::string disk = folder / "disk";
    for (const std::string& made : {disk, folder / "naming"}) std::filesystem::create_directories(made);
    std::filesystem::create_directory_symlink(disk, folder / "naming/runtime");
    for (const auto& [theirs, target] :
         {std::pair{"/ollama", "/nowhere"}, {"/ollama.sha256", "/etc/passwd"}, {"/bin", "/nowhere"}}) {
        std::filesystem::create_symlink(target, disk + theirs);
        EXPECT_THAT(unpack(pack(good)), HasSubstr("is not ours")) << theirs;
        EXPECT_TRUE(fetchAll(pack(good)).ends_with("is not ours)") && fetch.calls == 0) << theirs;
        EXPECT_TRUE(std::filesystem::remove(disk + theirs));
    }
    EXPECT_EQ(unpack(pack(good)) + unpack(pack("add('ollama')", "ollama")), "");
}

TEST_F(ModelRuntimeTests, AFetchThatFailsSaysWhyAndLeavesNoPartial) {
    RuntimeRelease release = pack("add('lib/a')");
    EXPECT_EQ(fetchAll(release), "the unpacked runtime is missing its binary");
    release.fingerprint = "00";
    EXPECT_THAT(fetchAll(release), HasSubstr("did not match its pinned fingerprint (expected 00, got "));
    fetch.status = 404;
    fetch.length.reset();
    log.clear();
    EXPECT_EQ(fetchAll(release), "the runtime download was refused — check your connection and retry");
    EXPECT_THAT(log, ::testing::EndsWith("s expected-bytes=unknown(-1)\n"));
    release.fingerprint.clear();
    EXPECT_EQ(fetchAll(release), "this build has no pinned fingerprint of a runtime, so none is downloaded");
    EXPECT_EQ(fetch.calls, 3);
}

TEST_F(ModelRuntimeTests, SweepsThePartialsOfProcessesThatAreGone) {
    EXPECT_EQ(partialName(7), "larkmoor-ollama-7.tgz");
    const std::string alive = partialName(::getpid());
    for (const std::string& name :
         {partialName(0), partialName(-7), alive, std::string{"larkmoor-ollama-.tgz"},
          std::string{"larkmoor-ollama-7x.tgz"}, std::string{"larkmoor-ollama-2147483648.tgz"},
          std::string{"larkmoor-ollama-7.tar"}})
        ASSERT_TRUE(Files::create(folder / name, {}, 0600));
    sweepStrayTarballs(folder.path(), [this](const std::string& line) { log += line; });
    EXPECT_THAT(*Files::names(folder.path().string()),
                ::testing::UnorderedElementsAre(alive, "larkmoor-ollama-.tgz", "larkmoor-ollama-7x.tgz",
                                                "larkmoor-ollama-2147483648.tgz", "larkmoor-ollama-7.tar"));
    EXPECT_THAT(log,
                HasSubstr("swept a stray runtime partial (larkmoor-ollama-0.tgz) — its process is gone and step 1"));
}

}  // namespace
}  // namespace larkmoor

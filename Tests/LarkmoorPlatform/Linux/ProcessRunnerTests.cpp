// Real programs, and the bad manners that real programs have.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>

#include <boost/asio/co_spawn.hpp>

#include <csignal>
#include <sstream>
#include <thread>

#include "LarkmoorPlatform/Linux/SpawningProcessRunner.h"
#include "LarkmoorPlatform/Linux/ToolDigest.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::size_t openDescriptors() {
    const auto entries = std::filesystem::directory_iterator{"/proc/self/fd"};
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// Neither a running one nor one that nobody has waited for.
bool hasNoChild() {
    siginfo_t told{};
    return ::waitid(P_ALL, 0, &told, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == ECHILD;
}

struct ProcessRunnerTests : ::testing::Test {
    MainLoop loop;
    SpawningProcessRunner runner{loop};

    ProcessResult run(ProcessRequest request, std::stop_token stop = {}) {
        auto result = testing::runTask(loop, runner.run(std::move(request), std::move(stop)));
        if (!result) throw std::runtime_error("the run did not end");
        return std::move(*result);
    }

    static ProcessRequest shell(std::string script, std::chrono::milliseconds budget = 20s) {
        return {.executable = "/bin/sh",
                .arguments = {"-c", std::move(script)},
                .output = ProcessOutputs::Captured{},
                .budget = budget};
    }

    /// Nobody of the group runs, once the system has done what signal 9 asks of it. Who waits for the dead children of
    /// the dead is not our business.
    static bool isGone(pid_t group) {
        for (int turn = 0; turn < 100; ++turn) {
            if (members(group) == 0) return true;
            std::this_thread::sleep_for(10ms);
        }
        return false;
    }

    static int members(pid_t group) {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator{"/proc"}) {
            const auto stat = Files::read(entry.path() / "stat");
            const std::string text = stat ? testing::text(*stat) : std::string{};
            char state = 0;
            pid_t parent = 0;
            pid_t itsGroup = 0;
            const auto name = text.rfind(')');
            if (name == std::string::npos) continue;
            std::istringstream{text.substr(name + 1)} >> state >> parent >> itsGroup;
            if (itsGroup == group && state != 'Z' && state != 'X') ++count;
        }
        return count;
    }
};

TEST_F(ProcessRunnerTests, TellsHowTheProgramEnded) {
    struct Case {
        std::string_view script, description;
        std::int32_t status;
    };
    for (const Case& row : {Case{"exit 0", "exit 0", 0}, Case{"exit 3", "exit 3", 3},
                            Case{"kill -TERM $$", "signal 15", 15}, Case{"kill -KILL $$", "signal 9", 9}}) {
        const ProcessResult result = run(shell(std::string{row.script}));
        EXPECT_EQ(result.description(), row.description);
        EXPECT_EQ(result.status(), row.status) << row.script;
        EXPECT_FALSE(result.timedOut()) << row.script;
    }
}

TEST_F(ProcessRunnerTests, TellsWhatDidNotStart) {
    const testing::TemporaryFolder folder;
    ASSERT_TRUE(Files::replace(folder / "no-program", asBytes("text"), 0600));
    struct Case {
        std::string executable;
        ProcessOutput output;
        std::string description;
    };
    for (const Case& row : {
             Case{folder / "none", {}, "not started: " + folder / "none" + ": No such file or directory"},
             Case{folder / "no-program", {}, "not started: " + folder / "no-program" + ": Permission denied"},
             Case{"/bin/true", ProcessOutputs::ToFile{folder / "none/log"},
                  "not started: " + folder / "none/log" + ": No such file or directory"},
             Case{std::string("/bin/true\0x", 11),
                  {},
                  "not started: " + std::string("/bin/true\0x", 11) + ": Invalid argument"},
         }) {
        const ProcessResult result = run({.executable = row.executable, .output = row.output, .budget = 5s});
        EXPECT_EQ(result.description(), row.description);
        EXPECT_EQ(result.status(), -1);
    }
}

TEST_F(ProcessRunnerTests, KeepsTheStreamsApartOrTogether) {
    ProcessRequest request = shell("echo one; echo two >&2; echo three");
    request.errors = ProcessOutputs::Captured{};
    const ProcessResult apart = run(std::move(request));
    EXPECT_EQ(asText(apart.output), "one\nthree\n");
    EXPECT_EQ(asText(apart.errors), "two\n");

    request = shell("echo one; echo two >&2; echo three");
    request.errors = ProcessOutputs::WithOutput{};
    EXPECT_EQ(asText(run(std::move(request)).output), "one\ntwo\nthree\n");

    request = shell("echo one; echo two >&2");
    request.output = ProcessOutputs::Discarded{};
    const ProcessResult silent = run(std::move(request));
    EXPECT_EQ(silent.status(), 0);
    EXPECT_TRUE(silent.output.empty() && silent.errors.empty());
}

TEST_F(ProcessRunnerTests, WritesAPrivateFileAnew) {
    const testing::TemporaryFolder folder;
    ASSERT_TRUE(Files::replace(folder / "log", asBytes("what was there before, and longer"), 0644));
    ProcessRequest request = shell("echo out; echo err >&2");
    request.output = ProcessOutputs::ToFile{folder / "log"};
    request.errors = ProcessOutputs::WithOutput{};
    EXPECT_EQ(run(std::move(request)).status(), 0);
    EXPECT_EQ(asText(*Files::read(folder / "log")), "out\nerr\n");
    EXPECT_EQ(Files::permissions(folder / "log"), 0600);
    request = shell("exit");
    request.output = ProcessOutputs::ToFile{folder / "new"};
    EXPECT_EQ(run(std::move(request)).status(), 0);
    EXPECT_EQ(Files::permissions(folder / "new"), 0600);
}

TEST_F(ProcessRunnerTests, GivesTheInput) {
    ProcessRequest request = shell("wc -c");
    request.input = ProcessInputs::FromBytes{Bytes(3'000'000)};
    EXPECT_EQ(asText(run(std::move(request)).output), "3000000\n");

    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    FileDescriptor reading{ends[0]};
    FileDescriptor writing{ends[1]};
    ASSERT_TRUE(Files::writeAll(writing.get(), asBytes("a key"), "pipe"));
    writing.reset();
    request = shell("cat");
    request.input = ProcessInputs::FromDescriptor{std::move(reading)};
    EXPECT_EQ(asText(run(std::move(request)).output), "a key");

    EXPECT_EQ(asText(run(shell("cat; echo end")).output), "end\n");
}

TEST_F(ProcessRunnerTests, AGivenDescriptorIsTheProgramsAlone) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const FileDescriptor writing{ends[1]};
    bool isClosed = false;
    std::stop_source stop;
    ProcessRequest request = shell("exec <&-; echo closed; exec sleep 600");
    request.input = ProcessInputs::FromDescriptor{FileDescriptor{ends[0]}};
    request.output = ProcessOutputs::Told{[&](BytesView) {
        pollfd other{.fd = writing.get(), .events = 0, .revents = 0};
        isClosed = ::poll(&other, 1, 0) == 1 && (other.revents & POLLERR) != 0;
        stop.request_stop();
    }};
    run(std::move(request), stop.get_token());
    EXPECT_TRUE(isClosed) << "a key would wait here for whoever asks";
}

TEST_F(ProcessRunnerTests, GivesTheEnvironment) {
    ASSERT_EQ(::setenv("LARKMOOR_OURS", "ours", 1), 0);
    const std::string script = "echo ${LARKMOOR_OURS-none} ${LARKMOOR_ADDED-none} ${HOME-none}";
    ProcessRequest request = shell(script);
    request.environment.changes = {{"LARKMOOR_ADDED", "a=b c"}, {"HOME", std::nullopt}};
    EXPECT_EQ(asText(run(std::move(request)).output), "ours a=b c none\n");
    request = shell(script);
    request.environment = {.isInherited = false, .changes = {{"HOME", "/home"}}};
    EXPECT_EQ(asText(run(std::move(request)).output), "none none /home\n");
}

TEST_F(ProcessRunnerTests, TheProgramHasThreeDescriptorsAndItsSignals) {
    // As a library might leave them.
    const FileDescriptor careless{::open("/dev/null", O_RDONLY)};
    const auto ignored = ::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    // The shell opens a fourth to list them; of the signals the first sixteen are told.
    const ProcessResult result =
        run(shell("echo /proc/$$/fd/*; exec sed -nE 's/^Sig(Blk|Ign):.*([0-9a-f]{4})$/\\1 \\2/p' /proc/self/status"));
    ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    ::signal(SIGPIPE, ignored);
    const std::string text = testing::text(result.output);
    EXPECT_THAT(text,
                ::testing::MatchesRegex("/proc/[0-9]+/fd/0 [^ ]+/1 [^ ]+/2( [^ ]+/[0-9]+)?\nBlk 0000\nIgn 0000\n"));
}

TEST_F(ProcessRunnerTests, BadMannersDoNotHoldItUp) {
    struct Case {
        std::string_view name, script;
        bool timesOut;
        std::string_view output;
    };
    const Case table[] = {
        {"never ends", "echo $$; exec sleep 600", true, ""},
        {"ignores requests", "trap '' TERM INT HUP; echo $$; while :; do sleep 600; done", true, ""},
        {"has children that never end", "echo $$; (sleep 600 & sleep 600) & wait", true, ""},
        {"stops itself", "echo $$; kill -STOP $$", true, ""},
        {"leaves a child that holds the output", "echo $$; sleep 600 & echo done", false, "done\n"},
        {"leaves a child that ignores requests", "echo $$; (trap '' TERM HUP; sleep 600) & echo done", false, "done\n"},
    };
    constexpr auto budget = 400ms;
    for (const Case& row : table) {
        ProcessRequest request = shell(std::string{row.script}, row.timesOut ? budget : 20s);
        request.errors = ProcessOutputs::WithOutput{};
        // Far more than a pipe holds, and none of them reads it.
        request.input = ProcessInputs::FromBytes{Bytes(1 << 20)};
        const auto began = Clock::now();
        const ProcessResult result = run(std::move(request));
        EXPECT_LT(Clock::now() - began, 2s) << row.name;
        EXPECT_EQ(result.timedOut(), row.timesOut) << row.name << ": " << result.description();
        EXPECT_EQ(result.status(), row.timesOut ? 9 : 0) << row.name;
        const std::string text = testing::text(result.output);
        const std::size_t line = text.find('\n');
        ASSERT_NE(line, std::string::npos) << row.name;
        EXPECT_EQ(text.substr(line + 1), row.output) << row.name;
        EXPECT_TRUE(isGone(std::stoi(text))) << row.name;
    }
    EXPECT_TRUE(hasNoChild()) << "a zombie is left";
}

TEST_F(ProcessRunnerTests, LeavesNoDescriptorBehind) {
    testing::TemporaryFolder folder;
    const auto round = [&] {
        ProcessRequest request = shell("echo text");
        request.input = ProcessInputs::FromBytes{Bytes(10)};
        request.errors = ProcessOutputs::Captured{};
        run(std::move(request));
        request = shell("exit 1");
        request.output = ProcessOutputs::Told{[](BytesView) {}};
        run(std::move(request));
        run({.executable = folder / "none", .output = ProcessOutputs::Told{[](BytesView) {}}, .budget = 1s});
        run(shell("sleep 600", 20ms));
    };
    round();
    const std::size_t before = openDescriptors();
    for (int turn = 0; turn < 5; ++turn) round();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ProcessRunnerTests, TellsTheOutputWhileItComes) {
    std::string heard;
    bool cameEarly = false;
    const testing::TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "go").c_str(), 0600), 0);
    ProcessRequest request = shell("echo one; read go <" + folder / "go" + "; seq 1 100000; sleep 600 & printf last");
    request.output = ProcessOutputs::Told{[&](BytesView piece) {
        heard += asText(piece);
        if (heard != "one\n") return;
        cameEarly = true;
        // The program waits for this, and so it is not over yet.
        const FileDescriptor go{::open((folder / "go").c_str(), O_WRONLY | O_CLOEXEC)};
        ASSERT_TRUE(Files::writeAll(go.get(), asBytes("go\n"), "go"));
    }};
    EXPECT_EQ(run(std::move(request)).status(), 0);
    EXPECT_TRUE(cameEarly);
    EXPECT_TRUE(heard.ends_with("\n99999\n100000\nlast"));
    EXPECT_EQ(heard.size(), 4 + 588'895 + 4);
}

TEST_F(ProcessRunnerTests, TellsWhatIsLeftAtTheEnd) {
    std::size_t heard = 0;
    // So slow a listener has more in one go than it takes at once, and the program's end overtakes the rest.
    constexpr std::size_t size = (1 << 20) + 100;
    ProcessRequest request = shell("head -c " + std::to_string(size) + " /dev/zero");
    request.output = ProcessOutputs::Told{[&](BytesView piece) {
        heard += piece.size();
        std::this_thread::sleep_for(3ms);
    }};
    EXPECT_EQ(run(std::move(request)).status(), 0);
    EXPECT_EQ(heard, size);
}

TEST_F(ProcessRunnerTests, KeepsTheEndOfWhatIsTooMuch) {
    const ProcessResult result = run(shell("head -c 20000000 /dev/zero; printf end"));
    EXPECT_EQ(result.output.size(), 16U << 20);
    EXPECT_TRUE(asText(result.output).ends_with("end"));
}

TEST_F(ProcessRunnerTests, ProgramsEndWithTheLoop) {
    std::string heard;
    {
        MainLoop passing;
        SpawningProcessRunner its{passing};
        ProcessRequest request = shell("echo $$; exec sleep 600");
        request.output = ProcessOutputs::Told{[&](BytesView piece) { heard += asText(piece); }};
        boost::asio::co_spawn(passing, its.run(std::move(request)), [](std::exception_ptr, ProcessResult) { FAIL(); });
        ASSERT_TRUE(testing::runUntil(passing, [&] { return heard.ends_with('\n'); }));
    }
    EXPECT_TRUE(isGone(std::stoi(heard)));
    EXPECT_TRUE(hasNoChild()) << "a zombie is left";
}

TEST_F(ProcessRunnerTests, WhatIsLaunchedLivesOnByItself) {
    const testing::TemporaryFolder folder;
    const std::string told = folder / "told";
    {
        MainLoop passing;
        SpawningProcessRunner its{passing};
        const std::string script = "cut -d ' ' -f 6 /proc/$$/stat >draft; echo $$ $LARKMOOR_ADDED >>draft; mv draft " +
                                   told + "; exec sleep 600";
        ASSERT_TRUE(its.launch("/bin/sh", {"-c", "cd " + folder.path().string() + "; " + script},
                               {.changes = {{"LARKMOOR_ADDED", "added"}}}));
        while (!Files::exists(told)) std::this_thread::sleep_for(5ms);
    }
    pid_t session = 0;
    pid_t process = 0;
    std::string added;
    std::istringstream{testing::text(*Files::read(told))} >> session >> process >> added;
    EXPECT_EQ(session, process);
    EXPECT_EQ(added, "added");
    EXPECT_EQ(members(process), 1) << "it has ended with the loop";
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);

    // One that ends while we live is waited for.
    ASSERT_TRUE(runner.launch("/bin/true", {}));
    EXPECT_TRUE(testing::runUntil(loop, hasNoChild));
    EXPECT_EQ(runner.launch(folder / "none", {}).error(), (FileError{folder / "none", ENOENT}));
}

TEST_F(ProcessRunnerTests, ManyRunAtOnce) {
    constexpr int count = 20;
    int ended = 0;
    const auto began = Clock::now();
    for (int index = 0; index < count; ++index) {
        boost::asio::co_spawn(loop, runner.run(shell("sleep 0.3; exit " + std::to_string(index))),
                              [&ended, index](std::exception_ptr, const ProcessResult& result) {
                                  EXPECT_EQ(result.status(), index);
                                  ++ended;
                              });
    }
    EXPECT_TRUE(testing::runUntil(loop, [&] { return ended == count; }));
    EXPECT_LT(Clock::now() - began, count * 300ms / 2);
}

TEST(ToolDigest, IsThePublishedOne) {
    MainLoop loop;
    SpawningProcessRunner runner{loop};
    EXPECT_EQ(testing::runTask(loop, sha256(runner, copyBytes("abc"))).value(),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(testing::runTask(loop, sha256(runner, {})).value(),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

}  // namespace
}  // namespace larkmoor

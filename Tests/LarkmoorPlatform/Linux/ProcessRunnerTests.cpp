// Real programs, well-behaved and not.
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

#include <boost/asio/co_spawn.hpp>

#include <csignal>
#include <sstream>
#include <thread>

#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;

std::size_t openDescriptors() {
    const auto entries = std::filesystem::directory_iterator{"/proc/self/fd"};
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// Neither a running child nor a zombie.
bool hasNoChild() {
    siginfo_t told{};
    return ::waitid(P_ALL, 0, &told, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == ECHILD;
}

struct ProcessRunnerTests : ::testing::Test {
    MainLoop loop;
    SpawningProcessRunner runner{loop};
    const testing::TemporaryFolder folder;

    ProcessResult run(ProcessRequest request, std::stop_token stop = {}) {
        auto result = testing::runTask(loop, runner.run(std::move(request), std::move(stop)));
        if (!result) throw std::runtime_error("the run did not end");
        return std::move(*result);
    }

    static ProcessRequest shell(std::string script, ProcessOutput output = ProcessOutputs::Captured{},
                                ProcessErrors errors = {}) {
        return {.executable = "/bin/sh",
                .arguments = {"-c", std::move(script)},
                .output = std::move(output),
                .errors = errors,
                .budget = 20s};
    }

    /// The output of a script with this input and environment.
    std::string said(std::string script, ProcessInput input = {}, ProcessEnvironment environment = {}) {
        ProcessRequest request = shell(std::move(script));
        request.input = std::move(input);
        request.environment = std::move(environment);
        return testing::text(run(std::move(request)).output);
    }

    /// How many of the group run; zombies that others must reap do not count.
    std::string members(pid_t group) {
        return said("cat /proc/[0-9]*/stat 2>/dev/null | sed 's/.*) //' | grep -c '^[^ZX] [0-9]* " +
                    std::to_string(group) + " '");
    }
    bool isGone(pid_t group) {
        for (int turn = 0; turn < 1000; ++turn)
            if (members(group) == "0\n") return true;
        return false;
    }
};

TEST_F(ProcessRunnerTests, TellsHowTheProgramEndedOrThatItDidNotStart) {
    ASSERT_TRUE(Files::replace(folder / "no-program", asBytes("text"), 0600));
    const std::string none = folder / "none", log = folder / "none/log", noProgram = folder / "no-program";
    const std::string odd("/bin/true\0x", 11);
    struct Case {
        ProcessRequest request;
        std::string description;
        std::int32_t status;
    };
    Case cases[] = {
        {shell("exit 3"), "exit 3", 3},
        {shell("kill -TERM $$"), "signal 15", 15},
        {{.executable = none, .budget = 5s}, "not started: " + none + ": No such file or directory", -1},
        {{.executable = noProgram, .budget = 5s}, "not started: " + noProgram + ": Permission denied", -1},
        {{.executable = odd, .budget = 5s}, "not started: " + odd + ": Invalid argument", -1},
        {shell("", ProcessOutputs::ToFile{log}), "not started: " + log + ": No such file or directory", -1},
    };
    for (Case& test : cases) {
        const ProcessResult result = run(std::move(test.request));
        EXPECT_EQ(result.description(), test.description);
        EXPECT_EQ(result.status(), test.status) << test.description;
        EXPECT_FALSE(result.timedOut()) << test.description;
    }
}

TEST_F(ProcessRunnerTests, KeepsTheStreamsApartTogetherOrInAFile) {
    const std::string script = "echo one; echo two >&2; echo three";
    const ProcessResult apart = run(shell(script, ProcessOutputs::Captured{}, ProcessOutputs::Captured{}));
    EXPECT_EQ(asText(apart.output), "one\nthree\n");
    EXPECT_EQ(asText(apart.errors), "two\n");
    const ProcessResult together = run(shell(script, ProcessOutputs::Captured{}, ProcessOutputs::WithOutput{}));
    EXPECT_EQ(asText(together.output), "one\ntwo\nthree\n");
    const ProcessResult tooMuch = run(shell("head -c 20000000 /dev/zero; printf end"));
    EXPECT_EQ(tooMuch.output.size(), 16U << 20);
    EXPECT_TRUE(asText(tooMuch.output).ends_with("end"));
    ASSERT_TRUE(Files::replace(folder / "log", asBytes("what was there before, and longer"), 0644));
    run(shell("echo out; echo err >&2", ProcessOutputs::ToFile{folder / "log"}, ProcessOutputs::WithOutput{}));
    EXPECT_EQ(asText(*Files::read(folder / "log")), "out\nerr\n");
    EXPECT_EQ(Files::permissions(folder / "log"), 0600);
}

TEST_F(ProcessRunnerTests, GivesTheInputAndTheEnvironment) {
    EXPECT_EQ(said("wc -c", ProcessInputs::FromBytes{Bytes(3'000'000)}), "3000000\n");
    EXPECT_EQ(said("cat; echo end"), "end\n");
    ASSERT_TRUE(Files::replace(folder / "key", asBytes("a key"), 0600));
    FileDescriptor key{::open((folder / "key").c_str(), O_RDONLY | O_CLOEXEC)};
    EXPECT_EQ(said("cat", ProcessInputs::FromDescriptor{std::move(key)}), "a key");

    ASSERT_EQ(::setenv("LARKMOOR_OURS", "ours", 1), 0);
    const std::string script = "echo ${LARKMOOR_OURS-none} ${LARKMOOR_ADDED-none} ${HOME-none}";
    EXPECT_EQ(said(script, {}, {.changes = {{"LARKMOOR_ADDED", "a=b c"}, {"HOME", std::nullopt}}}),
              "ours a=b c none\n");
    EXPECT_EQ(said(script, {}, {.isInherited = false, .changes = {{"HOME", "/home"}}}), "none none /home\n");
}

TEST_F(ProcessRunnerTests, AGivenDescriptorIsTheProgramsAlone) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const FileDescriptor writing{ends[1]};
    bool isClosed = false;
    std::stop_source stop;
    ProcessRequest request = shell("exec <&-; echo closed; exec sleep 600", ProcessOutputs::Streamed{[&](BytesView) {
                                       pollfd other{.fd = writing.get(), .events = 0, .revents = 0};
                                       isClosed = ::poll(&other, 1, 0) == 1 && (other.revents & POLLERR) != 0;
                                       stop.request_stop();
                                   }});
    request.input = ProcessInputs::FromDescriptor{FileDescriptor{ends[0]}};
    EXPECT_EQ(run(std::move(request), stop.get_token()).description(), "ended on request");
    EXPECT_TRUE(isClosed) << "a key would wait here for whoever asks";
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
    const std::string text =
        said("echo /proc/$$/fd/*; exec sed -nE 's/^Sig(Blk|Ign):.*([0-9a-f]{4})$/\\1 \\2/p' /proc/self/status");
    ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    ::signal(SIGPIPE, ignored);
    EXPECT_THAT(text,
                ::testing::MatchesRegex("/proc/[0-9]+/fd/0 [^ ]+/1 [^ ]+/2( [^ ]+/[0-9]+)?\nBlk 0000\nIgn 0000\n"));
}

TEST_F(ProcessRunnerTests, WhatOutlivesUsDoesNotHearTheEndOfTheSession) {
    ProcessRequest request = shell("for end in TERM HUP INT; do kill -$end $$; done; exit 3");
    request.outlivesUs = true;
    EXPECT_EQ(run(std::move(request)).end, ProcessEnd{ProcessEnds::Exited{3}});
}

TEST_F(ProcessRunnerTests, BadMannersDoNotHoldItUp) {
    struct Case {
        std::string_view name, script;
        bool timesOut;
        std::string_view output;
        std::optional<ProcessResult> result{};
    };
    Case cases[] = {
        {"ignores requests", "trap '' TERM INT HUP; echo $$; while :; do sleep 600; done", true, ""},
        {"has children that never end", "echo $$; (sleep 600 & sleep 600) & wait", true, ""},
        {"stops itself", "echo $$; kill -STOP $$", true, ""},
        {"leaves a child that holds the output", "echo $$; (trap '' TERM HUP; sleep 600) & echo done", false, "done\n"},
    };
    for (Case& test : cases) {
        ProcessRequest request = shell(std::string{test.script});
        if (test.timesOut) request.budget = 2s;
        request.errors = ProcessOutputs::WithOutput{};
        // Far more than a pipe holds, and none of them reads it.
        request.input = ProcessInputs::FromBytes{Bytes(1 << 20)};
        boost::asio::co_spawn(loop, runner.run(std::move(request)),
                              [&test](std::exception_ptr, ProcessResult result) { test.result = std::move(result); });
    }
    ASSERT_TRUE(testing::runUntil(
        loop, [&] { return std::ranges::all_of(cases, [](const Case& test) { return test.result.has_value(); }); }));
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(test.result->timedOut(), test.timesOut) << test.result->description();
        EXPECT_EQ(test.result->status(), test.timesOut ? 9 : 0);
        const std::string text = testing::text(test.result->output);
        const std::size_t line = text.find('\n');
        ASSERT_NE(line, std::string::npos);
        EXPECT_EQ(text.substr(line + 1), test.output);
        EXPECT_TRUE(isGone(std::stoi(text)));
    }
    EXPECT_TRUE(hasNoChild()) << "a zombie is left";
}

TEST_F(ProcessRunnerTests, LeavesNoDescriptorBehind) {
    const auto round = [&] {
        said("cat", ProcessInputs::FromBytes{Bytes(10)});
        run(shell("exit 1", ProcessOutputs::Streamed{[](BytesView) {}}, ProcessOutputs::Captured{}));
        run({.executable = folder / "none", .output = ProcessOutputs::Streamed{[](BytesView) {}}, .budget = 1s});
        run({.executable = "/bin/sleep", .arguments = {"600"}, .budget = 20ms});
    };
    round();
    const std::size_t before = openDescriptors();
    for (int turn = 0; turn < 5; ++turn) round();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ProcessRunnerTests, TellsTheOutputWhileItComes) {
    std::string heard;
    ASSERT_EQ(::mkfifo((folder / "go").c_str(), 0600), 0);
    const auto listener = [&](BytesView piece) {
        heard += asText(piece);
        // So slow a listener has more in one go than it takes at once, and the program's end overtakes the rest.
        if (heard != "one\n") return std::this_thread::sleep_for(1ms);
        // The program waits for this, and so it is not over yet.
        const FileDescriptor go{::open((folder / "go").c_str(), O_WRONLY | O_CLOEXEC)};
        ASSERT_TRUE(Files::writeAll(go.get(), asBytes("go\n"), "go"));
    };
    const std::string script = "echo one; read go <" + folder / "go" + "; seq 1 250000; sleep 600 & printf last";
    EXPECT_EQ(run(shell(script, ProcessOutputs::Streamed{listener})).status(), 0);
    EXPECT_TRUE(heard.ends_with("\n249999\n250000\nlast"));
    EXPECT_EQ(heard.size(), 4 + 1'638'895 + 4);
}

TEST_F(ProcessRunnerTests, ProgramsEndWithTheLoop) {
    std::string heard;
    {
        MainLoop passing;
        SpawningProcessRunner its{passing};
        const auto listener = [&](BytesView piece) { heard += asText(piece); };
        boost::asio::co_spawn(passing, its.run(shell("echo $$; exec sleep 600", ProcessOutputs::Streamed{listener})),
                              [](std::exception_ptr, ProcessResult) { FAIL(); });
        ASSERT_TRUE(testing::runUntil(passing, [&] { return heard.ends_with('\n'); }));
    }
    EXPECT_TRUE(isGone(std::stoi(heard)));
    EXPECT_TRUE(hasNoChild()) << "a zombie is left";
}

TEST_F(ProcessRunnerTests, WhatIsLaunchedLivesOnByItself) {
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
    EXPECT_EQ(members(process), "1\n") << "it has ended with the loop";
    EXPECT_TRUE(hasNoChild()) << "nobody reaps it after an exec";
    ::kill(process, SIGKILL);
    EXPECT_EQ(runner.launch(folder / "none", {}).error(), (FileError{folder / "none", ENOENT}));
}

}  // namespace
}  // namespace larkmoor

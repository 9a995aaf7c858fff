// The hook is run once for each build, and no hook can keep us waiting.
#include "LarkmoorKit/FirstRun/FirstRunWarm.h"

#include <sys/stat.h>

#include <boost/json/parse.hpp>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "LarkmoorPlatform/Files.h"
#include "LarkmoorPlatform/Linux/SpawningProcessRunner.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::FirstRunWarm {
namespace {

using std::chrono::seconds;

TEST(WarmMarker, IsReadBackAndNothingLessIsAMarker) {
    const Marker marker{.build = "340", .outcome = Outcome::timeout, .milliseconds = 20012};
    EXPECT_EQ(marker.line(), "build=340 outcome=timeout ms=20012\n");
    EXPECT_EQ(Marker::parse(marker.line()), marker);
    EXPECT_EQ(Marker::parse("later=1 ms=3  build=? outcome=ok"), (Marker{"?", Outcome::ok, 3}));
    for (const char* text : {"", "build=1 outcome=ok", "build=1 ms=3", "outcome=ok ms=3", "build=1 outcome=OK ms=3",
                             "build=1 outcome=ok ms=3s", "build=1 outcome=ok ms=1.5", "build=1 outcome=ok ms="})
        EXPECT_EQ(Marker::parse(text), std::nullopt) << text;
}

TEST(WarmPayload, IsJSONWhateverTheHomeIsCalled) {
    EXPECT_EQ(
        asText(payload("/home/a")),
        R"({"session_id":"warm-up","prompt":"larkmoor warm-up","hook_event_name":"UserPromptSubmit","cwd":"/home/a"})");
    const std::string odd = "/home/\"a\\b\"";
    EXPECT_EQ(boost::json::parse(asText(payload(odd))).at("cwd").as_string(), odd);
}

class WarmUp : public ::testing::Test {
  protected:
    /// A hook that does as the script says.
    std::string hook(const std::string& script) {
        const std::string path = folder / "hook";
        std::ofstream{path} << "#!/bin/sh\n" << script << "\n";
        ::chmod(path.c_str(), 0755);
        return path;
    }
    Result warm(const std::string& program, const std::string& build = "340", seconds leash = seconds{20}) {
        const auto start = std::chrono::steady_clock::now();
        auto result = testing::runTask(
            loop, run(program, build, marker, leash, "/home/a",
                      {.runner = runner, .setupLog = [this](std::string line) { said.push_back(std::move(line)); }}));
        spent = std::chrono::steady_clock::now() - start;
        return result.value();
    }
    Outcome outcome(const Result& result) { return result.as<ResultCases::Warmed>()->outcome; }
    std::string told(const std::string& name) const {
        const auto bytes = Files::read(folder / name);
        return bytes ? std::string{asText(*bytes)} : "";
    }
    std::ptrdiff_t descriptors() const {
        return std::distance(std::filesystem::directory_iterator{"/proc/self/fd"}, {});
    }

    MainLoop loop;
    SpawningProcessRunner runner{loop};
    testing::TemporaryFolder folder;
    std::string marker = folder / "Larkmoor/warmed-build";
    std::vector<std::string> said;
    std::chrono::steady_clock::duration spent{};
};

TEST_F(WarmUp, GivesTheHookAPromptOnceForEachBuild) {
    const std::string program = hook("cd \"${0%/*}\"; echo \"$@\" >words; cat >prompt; exit 3");
    EXPECT_EQ(outcome(warm(program)), Outcome::ok) << "how it exits is not looked at";
    EXPECT_EQ(told("words"), "--harness claude-code\n");
    EXPECT_EQ(told("prompt"), asText(payload("/home/a")));
    EXPECT_TRUE(told("Larkmoor/warmed-build").starts_with("build=340 outcome=ok ms="));
    ASSERT_EQ(said.size(), 1U);
    EXPECT_TRUE(said[0].starts_with("warm-up: " + program + " → ok in ")) << said[0];
    EXPECT_TRUE(said[0].ends_with(" ms (build 340, leash 20s)")) << said[0];
    EXPECT_TRUE(warm(program).is<ResultCases::AlreadyWarm>());
    EXPECT_EQ(said.back(), "warm-up: build 340 already warmed here — nothing to spawn");
    EXPECT_EQ(outcome(warm(program, "341")), Outcome::ok);
    EXPECT_TRUE(told("Larkmoor/warmed-build").starts_with("build=341 "));
}

TEST_F(WarmUp, AHookThatCannotRunIsNotTriedAgain) {
    EXPECT_EQ(outcome(warm(folder / "nothing")), Outcome::failed);
    EXPECT_TRUE(warm(hook("")).is<ResultCases::AlreadyWarm>());
    const Seams seams{.runner = runner, .setupLog = [this](std::string line) { said.push_back(std::move(line)); }};
    EXPECT_EQ(testing::runTask(loop, fire(hook(""), Bytes(16385), seconds{20}, seams)), Outcome::failed);
    EXPECT_EQ(said.back(), "warm-up: payload is 16385 B, over the 16384 B pipe bound — not fired (m:1460)");
    EXPECT_EQ(testing::runTask(loop, fire(hook(""), Bytes(16384), seconds{20}, seams)), Outcome::ok);
}

TEST_F(WarmUp, NoHookOutlivesItsLeashOrKeepsUsWaiting) {
    struct Case {
        std::string_view name;
        std::string script;
        Outcome want;
        bool leavesOne = false;  ///< in a group of its own: not ours to end
    };
    const Case cases[] = {
        {"never reads and never ends", "echo $$ >\"$0.pid\"; exec sleep 600", Outcome::timeout},
        {"ignores every signal it can",
         "trap '' HUP INT QUIT TERM USR1 USR2 PIPE ALRM; echo $$ >\"$0.pid\"; while :; do sleep 1; done",
         Outcome::timeout},
        {"leaves a child that holds its streams", "sleep 600 & echo $! >\"$0.pid\"; exit 0", Outcome::ok},
        {"hangs with a child that holds its streams", "sleep 600 & echo $! >\"$0.pid\"; exec sleep 601",
         Outcome::timeout},
        {"leaves a child with a group of its own", "setsid sleep 600 & echo $! >\"$0.pid\"; sleep 0.3; exit 0",
         Outcome::ok, true},
        {"floods its output", "echo $$ >\"$0.pid\"; exec yes", Outcome::timeout},
    };
    int build = 0;
    const auto open = descriptors();
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(outcome(warm(hook(test.script), std::to_string(++build), seconds{1})), test.want);
        EXPECT_LT(spent, seconds{3});
        const pid_t left = std::stoi(told("hook.pid"));
        // What was ended may lie unburied by whoever inherited it.
        std::ifstream status{fmt::format("/proc/{}/stat", left)};
        const std::string line{std::istreambuf_iterator<char>{status}, {}};
        EXPECT_EQ(!line.empty() && line.find(") Z ") == std::string::npos, test.leavesOne) << line;
        if (test.leavesOne) ::kill(left, SIGKILL);
    }
    EXPECT_LE(descriptors(), open + 4) << "the loop's own, and no more of each run";
}

}  // namespace
}  // namespace larkmoor::FirstRunWarm

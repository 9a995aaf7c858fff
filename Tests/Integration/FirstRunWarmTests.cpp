// The hook is run once for each build, and no hook can keep us waiting.
#include "LarkmoorKit/FirstRun/FirstRunWarm.h"

#include <sys/stat.h>

#include <boost/json/parse.hpp>

#include <fstream>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
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
    EXPECT_TRUE(
        asText(payload("/"))
            .starts_with(
                R"({"session_id":"warm-up","prompt":"larkmoor warm-up","hook_event_name":"UserPromptSubmit","cwd":)"));
    const std::string odd = "/home/\"a\\b\"";
    EXPECT_EQ(boost::json::parse(asText(payload(odd))).at("cwd").as_string(), odd);
}

class WarmUp : public ::testing::Test {
  protected:
    /// A hook that does as the script says.
    std::string hook(const std::string& script) {
        const std::string path = folder / "hook" + std::to_string(++hooks);
        std::ofstream{path} << "#!/bin/sh\n" << script << "\n";
        ::chmod(path.c_str(), 0755);
        return path;
    }
    Seams seams() {
        return {.runner = runner, .setupLog = [this](std::string line) { said.push_back(std::move(line)); }};
    }
    Result warm(const std::string& program, const std::string& build = "340", seconds leash = seconds{20}) {
        return testing::runTask(loop, run(program, build, marker, leash, "/home/a", seams())).value();
    }
    Outcome outcome(const Result& result) { return result.as<ResultCases::Warmed>()->outcome; }
    std::string told(const std::string& path) const {
        const auto bytes = Files::read(path);
        return bytes ? std::string{asText(*bytes)} : "";
    }

    MainLoop loop;
    SpawningProcessRunner runner{loop};
    testing::TemporaryFolder folder;
    std::string marker = folder / "Larkmoor/warmed-build";
    std::vector<std::string> said;
    int hooks = 0;
};

TEST_F(WarmUp, GivesTheHookAPromptOnceForEachBuild) {
    const std::string program = hook("cd \"${0%/*}\"; echo \"$@\" >words; cat >prompt; exit 3");
    EXPECT_EQ(outcome(warm(program)), Outcome::ok) << "how it exits is not looked at";
    EXPECT_EQ(told(folder / "words"), "--harness claude-code\n");
    EXPECT_EQ(told(folder / "prompt"), asText(payload("/home/a")));
    EXPECT_TRUE(told(marker).starts_with("build=340 outcome=ok ms="));
    EXPECT_TRUE(said.at(0).starts_with("warm-up: " + program + " → ok in ")) << said[0];
    EXPECT_TRUE(said[0].ends_with(" ms (build 340, leash 20s)")) << said[0];
    EXPECT_TRUE(warm(program).is<ResultCases::AlreadyWarm>());
    EXPECT_EQ(said.at(1), "warm-up: build 340 already warmed here — nothing to spawn");
    EXPECT_EQ(outcome(warm(program, "341")), Outcome::ok);
    EXPECT_TRUE(told(marker).starts_with("build=341 "));
}

TEST_F(WarmUp, AHookThatCannotRunIsNotTriedAgain) {
    EXPECT_EQ(outcome(warm(folder / "nothing")), Outcome::failed);
    EXPECT_TRUE(warm(hook("")).is<ResultCases::AlreadyWarm>());
    const auto fired = [&](std::size_t size) {
        return testing::runTask(loop, fire(hook(""), Bytes(size), seconds{20}, seams()));
    };
    EXPECT_EQ(fired(16384), Outcome::ok);
    EXPECT_EQ(fired(16385), Outcome::failed);
    EXPECT_EQ(said.back(), "warm-up: payload is 16385 B, over the 16384 B pipe bound — not fired (m:1460)");
}

TEST_F(WarmUp, NoHookKeepsUsWaiting) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(outcome(warm(hook("exec sleep 600"), "340", seconds{1})), Outcome::timeout);
    EXPECT_EQ(outcome(warm(hook("sleep 600 & exit 0"), "341")), Outcome::ok);
    EXPECT_LT(std::chrono::steady_clock::now() - start, seconds{20});
}

}  // namespace
}  // namespace larkmoor::FirstRunWarm

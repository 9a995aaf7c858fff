// The model host's launch agent: what its property list says, and the calls and files of each verb.
#include "LarkmoorLocalModels/Runtime/HostAgent.h"

#include <fmt/ranges.h>

#include <fstream>

#include "LarkmoorLocalModels/Runtime/HostPlist.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using ::testing::ElementsAre;
using Text = HostPlist::Text;

Text list(std::string_view body) { return fmt::format("<plist version=\"1.0\">{}</plist>", body); }

TEST(HostPlistTest, ReadsWhatAListSays) {
    struct Case {
        const char* name;
        Text text;
        std::optional<std::string> modelsDir, binary;
        bool lacksModels, lacksCap;
        const char* store;
    };
    const std::string ours = "/s/Larkmoor/models/naming/store", standard = "/home/me/.ollama/models";
    const std::vector<Case> cases{
        {"none", {}, ours, {}, false, false, ours.c_str()},
        {"ours", HostPlist::agentPlist("/a b/ollama", "/log", "/x & y"), {}, {}, false, false, standard.c_str()},
        {"ours, plain", HostPlist::agentPlist("/b/ollama", "/log", "/models"), "/models", "/b/ollama", false, false,
         "/models"},
        {"without a store", HostPlist::agentPlist("/b", "/log", {}), {}, "/b", true, false, standard.c_str()},
        {"an empty store",
         list("<dict><key>EnvironmentVariables</key><dict><key>OLLAMA_MODELS</key><string/></dict></dict>"),
         "",
         {},
         false,
         true,
         standard.c_str()},
        {"no list", "<plist", {}, {}, false, false, standard.c_str()},
        {"no dictionary", list("<array/>"), {}, {}, false, false, standard.c_str()},
        {"no environment",
         list("<dict><key>ProgramArguments</key><array/></dict>"),
         {},
         {},
         true,
         true,
         standard.c_str()},
        {"wrong types",
         list("<dict><key>ProgramArguments</key><string>x</string><key>EnvironmentVariables</key><true/></dict>"),
         {},
         {},
         true,
         true,
         standard.c_str()},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        EXPECT_EQ(HostPlist::modelsDirForWrite(each.text, "/s"), each.modelsDir);
        EXPECT_EQ(HostPlist::supervisedBinary(each.text), each.binary);
        EXPECT_EQ(HostPlist::hostPlistLacksModelsDir(each.text), each.lacksModels);
        EXPECT_EQ(HostPlist::hostPlistLacksCap(each.text), each.lacksCap);
        EXPECT_EQ(HostPlist::ollamaStore(each.text, "/s", "/home/me"), each.store);
    }
}

class HostAgentTest : public ::testing::Test, protected LaunchAgents {
  protected:
    Task<ExitStatus> exits(std::string call, int status) {
        story.push_back(std::move(call));
        co_return status;
    }
    Task<ExitStatus> print(std::string) override { return exits("print", stillThere-- > 0 ? 0 : couldNotFind); }
    Task<std::optional<std::int32_t>> pid(std::string) override { co_return std::nullopt; }
    Task<bool> isCurrent(std::string) override { co_return isNew; }
    Task<ExitStatus> bootstrap(std::string domain, std::string) override {
        return exits("bootstrap " + domain, refusals-- > 0 ? inputOutputError : 0);
    }
    Task<ExitStatus> kickstart(std::string, bool) override { return exits("kickstart", 0); }
    Task<ExitStatus> bootout(std::string target, bool) override { return exits("bootout " + target, couldNotFind); }

    bool run(Task<HostAgent::Ended> task) { return testing::runTask(loop, std::move(task))->has_value(); }
    void launch() {
        testing::runTask(loop, [](HostAgent& host) -> Task<bool> {
            co_await host.capHostIfUncapped();
            co_await host.reloadIfStale();
            co_return true;
        }(agent));
    }
    std::string plist() { return testing::runTask(loop, agent.plistText()).value().value_or(""); }
    void write(const std::string& text) {
        std::filesystem::create_directories(home / "Library/LaunchAgents");
        std::ofstream{agent.plistPath()} << text;
    }

    MainLoop loop;
    int stillThere = 0, refusals = 0;
    bool isNew = true;  ///< the list, to the service manager as well
    std::vector<std::string> story, log;
    testing::TemporaryFolder home;
    HostAgent agent{{.launchctl = *this,
                     .removeUnit = [this](std::string label) -> Task<void> {
                         story.push_back("remove " + label);
                         co_return;
                     },
                     .home = home.path().string(),
                     .support = home / "support",
                     .user = 501,
                     .log = [this](std::string line) { log.push_back(std::move(line)); },
                     .pacedPause = [this](std::chrono::milliseconds) -> Task<void> {
                         story.emplace_back("pause");
                         co_return;
                     }}};
    const std::string out = "bootout gui/501/tools.fenwright.larkmoor.ollama", in = "bootstrap gui/501";
};

TEST_F(HostAgentTest, SupervisesAHostOnOurStoreAndKeepsThatOfAnOlderList) {
    stillThere = 1;
    refusals = 2;
    ASSERT_TRUE(run(agent.superviseHost("/b/ollama", {})));
    EXPECT_THAT(story, ElementsAre(out, "print", "pause", "print", in, "pause", in, "pause", in));
    EXPECT_EQ(HostPlist::modelsDirForWrite(plist(), ""), home / "support/Larkmoor/models/naming/store");
    EXPECT_TRUE(std::filesystem::is_directory(home / "support/Larkmoor/models/naming/store"));
    write(HostPlist::agentPlist("/old", "/log", {}));
    ASSERT_TRUE(run(agent.superviseHost("/new", {})));
    EXPECT_EQ(plist(), HostPlist::agentPlist("/new", agent.logPath(), {}));
}

TEST_F(HostAgentTest, AFirstHostThatCannotBeLoadedLeavesNoListBehind) {
    refusals = stillThere = 1'000;
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(run(agent.superviseHost("/b", stop.get_token())));
    EXPECT_EQ(std::ranges::count(story, in), 1);
    EXPECT_EQ(std::ranges::count(story, "pause"), 50);
    EXPECT_FALSE(std::filesystem::exists(agent.plistPath()));
    EXPECT_EQ(story.back(), "remove tools.fenwright.larkmoor.ollama");
    const std::string old = HostPlist::agentPlist("/old", "/log", "/models");
    write(old);
    EXPECT_FALSE(run(agent.superviseHost("/b", {})));
    EXPECT_TRUE(std::filesystem::exists(agent.plistPath()));
    EXPECT_EQ(story.back(), in);
}

TEST_F(HostAgentTest, CapsAnUncappedHostOnceOrLeavesItAsItWas) {
    launch();
    EXPECT_THAT(log, ElementsAre());
    const std::string old = *list("<dict><key>ProgramArguments</key><array><string>/b</string></array></dict>");
    write(old);
    refusals = 1'000;
    launch();
    EXPECT_EQ(plist(), old);
    refusals = 0;
    launch();
    EXPECT_EQ(plist(), HostPlist::agentPlist("/b", agent.logPath(), {}));
    launch();
    write(*list("<dict/>"));
    launch();
    EXPECT_THAT(log, ElementsAre("model-setup: host cap not applied — launchd refused the model-host agent (exit 5)",
                                 "model-setup: host plist capped — prompt cache 256 MiB, host restarted",
                                 "model-setup: host cap not applied — the agent plist names no ProgramArguments"));
}

TEST_F(HostAgentTest, RestartsAHostThatRunsByAnOlderList) {
    launch();
    EXPECT_THAT(story, ElementsAre());
    isNew = false;
    launch();
    EXPECT_THAT(story, ElementsAre(out, "print", in));
}

}  // namespace
}  // namespace larkmoor

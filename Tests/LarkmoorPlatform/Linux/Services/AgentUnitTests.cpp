// Launch agent property lists as systemd units, and what is refused.
#include "LarkmoorPlatform/Linux/Services/AgentUnit.h"

#include "LarkmoorPlatform/Linux/Services/SystemdAgents.h"

namespace larkmoor {
namespace {

constexpr const char* listPath = "/a 100%/Larkmoor.app/Contents/Library/LaunchAgents/a.b.plist";

std::string list(std::string_view body) {
    return fmt::format(R"(<?xml version="1.0"?><plist version="1.0"><dict>{}</dict></plist>)", body);
}

std::string keyed(std::string_view body) { return list(fmt::format("<key>Label</key><string>a.b</string>{}", body)); }

/// A list with a program, and what else is given.
std::string running(std::string_view body) {
    return keyed(fmt::format("<key>Program</key><string>/x</string>{}", body));
}

TEST(AgentUnit, DoesWhatTheListSays) {
    const std::string head =
        "[Unit]\nDescription=a.b\nSourcePath=/a 100%%/Larkmoor.app/Contents/Library/LaunchAgents/a.b.plist\n"
        "ConditionFileIsExecutable={}\nStartLimitIntervalSec=0\n\n[Service]\n{}{}{}";
    const std::string x = "ExecStart=\":/x\"\n";
    const std::string atLoad = "\n[Install]\nWantedBy=default.target\n";
    struct Case {
        std::string_view name;
        std::string in, want;
    };
    const Case cases[] = {
        {"a name of its own",
         running("<key>ProgramArguments</key><array><string>y</string><string>-v</string></array>"),
         "ExecStart=\":@/x\" \"y\" \"-v\"\n"},
        {"a program in the bundle", keyed("<key>BundleProgram</key><string>Contents/MacOS/larkmoor</string>"),
         "ExecStart=\":/a 100%%/Larkmoor.app/Contents/MacOS/larkmoor\"\n"},
        {"kept alive", running("<key>KeepAlive</key><true/>"), x + "Restart=always\nRestartSec=10\n" + atLoad},
        {"kept alive unless it ends well",
         running("<key>KeepAlive</key><dict><key>SuccessfulExit</key><false/></dict>"
                 "<key>ThrottleInterval</key><integer>2</integer>"),
         x + "Restart=on-failure\nRestartSec=2\nRestartForceExitStatus=SIGHUP SIGINT SIGPIPE SIGTERM\n" + atLoad},
        {"started at load, and not kept alive", running("<key>RunAtLoad</key><true/><key>KeepAlive</key><false/>"),
         x + atLoad},
        {"surroundings",
         running(
             "<key>EnvironmentVariables</key><dict><key>A</key><string>1 \"2\" %3</string></dict>"
             "<key>StandardOutPath</key><string>/log/50% off</string><key>StandardErrorPath</key><string>/e</string>"
             "<key>WorkingDirectory</key><string>/w</string><key>Nice</key><integer>-5</integer>"
             "<key>Umask</key><integer>63</integer><key>ExitTimeOut</key><integer>7</integer>"),
         x + "Environment=\"A=1 \\\"2\\\" %%3\"\nWorkingDirectory=/w\nStandardOutput=append:/log/50%% off\n"
             "StandardError=append:/e\nNice=-5\nUMask=0077\nTimeoutStopSec=7\n"},
        {"what the user manager has nothing to do with",
         running("<key>MachServices</key><dict><key>a.b</key><true/></dict>"
                 "<key>ProcessType</key><string>Interactive</string><key>Disabled</key><false/>"),
         x},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        const auto unit = AgentUnit::translate(asBytes(test.in), listPath);
        ASSERT_TRUE(unit.has_value()) << unit.error();
        EXPECT_EQ(unit->name, "a.b.service");
        // launchd's default, in front of what tells when it starts.
        const std::string_view stop = test.in.contains("ExitTimeOut") ? "" : "TimeoutStopSec=20\n";
        const std::size_t end = std::min(test.want.find(atLoad), test.want.size());
        const std::string_view program =
            test.in.contains("BundleProgram") ? "/a 100%%/Larkmoor.app/Contents/MacOS/larkmoor" : "/x";
        EXPECT_EQ(unit->text,
                  fmt::format(fmt::runtime(head), program, test.want.substr(0, end), stop, test.want.substr(end)));
        EXPECT_EQ(unit->startsAtLoad, test.want.ends_with(atLoad));
        EXPECT_EQ(AgentUnit::source(unit->text), listPath);
    }
}

TEST(AgentUnit, RefusesWhatHasNoCounterpart) {
    struct Case {
        std::string in;
        std::string_view want;
    };
    const Case cases[] = {
        {"no list", "it is no property list"},
        {list("<key>Program</key><string>/x</string>"), "it has no Label"},
        {list("<key>Label</key><string>a/b</string><key>Program</key><string>/x</string>"),
         "its Label cannot name a unit: a/b"},
        {keyed(""), "it names no program"},
        {keyed("<key>Program</key><true/>"), "Program is no text"},
        {keyed("<key>Program</key><string>bin/x</string>"), "its program is no absolute path: bin/x"},
        {keyed("<key>ProgramArguments</key><array><string>/x</string><string>a\nb</string></array>"),
         "ProgramArguments holds a control character"},
        {running("<key>StartInterval</key><integer>5</integer>"), "StartInterval has no counterpart here"},
        {running("<key>KeepAlive</key><dict><key>PathState</key><dict/></dict>"),
         "its KeepAlive has no counterpart here"},
        {running("<key>StandardOutPath</key><string>log</string>"),
         "StandardOutPath is no path that a unit can name: log"},
        {running("<key>EnvironmentVariables</key><dict><key>A B</key><string>1</string></dict>"),
         "EnvironmentVariables: A B cannot be set"},
    };
    for (const Case& test : cases) {
        const auto unit = AgentUnit::translate(asBytes(test.in), listPath);
        ASSERT_FALSE(unit.has_value()) << test.in;
        EXPECT_EQ(unit.error(), fmt::format("{}: {}", listPath, test.want));
    }
    const auto guarded = [](std::string label) {
        return AgentUnit::translate(asBytes(running("")), "/x.plist",
                                    {.label = std::move(label), .paths = {"/a b%/c", "/d"}});
    };
    EXPECT_THAT(guarded("a.b")->text,
                ::testing::HasSubstr("\nConditionPathExists=!/a b%%/c\nConditionPathExists=!/d\n"));
    EXPECT_EQ(guarded("a")->text, AgentUnit::translate(asBytes(running("")), "/x.plist")->text);
    const auto loose =
        AgentUnit::translate(asBytes(keyed("<key>BundleProgram</key><string>x</string>")), "/h/a.b.plist");
    EXPECT_EQ(loose.error(), "/h/a.b.plist: it names a BundleProgram and lies in no bundle");
}

TEST(AgentItem, TheUsersWishDecidesItsStatus) {
    using enum LoginItemStatus;
    using State = std::optional<std::string>;
    const std::string own = "/b/x.plist", other = "/old/x.plist";
    struct Case {
        State fileState, source;
        bool listExists;
        LoginItemStatus want;
    };
    const Case cases[] = {
        {State{}, {}, true, notRegistered},
        {State{}, {}, false, notFound},
        {State{"enabled"}, own, true, enabled},
        {State{"enabled"}, other, true, notRegistered},
        {State{"enabled"}, {}, false, notFound},
        {State{"masked-runtime"}, own, true, enabled},
        {State{"disabled"}, own, true, requiresApproval},
        {State{"masked"}, {}, false, requiresApproval},
    };
    for (const Case& test : cases) {
        const AgentUnits::State state{.fileState = test.fileState, .source = test.source};
        EXPECT_EQ(agentItemStatus(state, own, test.listExists), test.want)
            << test.fileState.value_or("-") << " " << test.source.value_or("-") << " " << test.listExists;
    }
}

}  // namespace
}  // namespace larkmoor

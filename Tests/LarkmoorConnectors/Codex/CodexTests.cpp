// What is Codex's own: the hash under which it trusts a hook, the records of such hashes, and that no hook of the
// user's is ever moved from its place. Over real homes; in texts "{hash}" stands for the hash of this build's hook.
#include <random>

#include "LarkmoorConnectors/Codex/CodexTrust.h"
#include "LarkmoorConnectors/ConnectorHome.h"
#include "Support/RunTool.h"

namespace larkmoor::testing {
namespace {

using Result = ConnectorOutcome::Result;

constexpr const char* hooksFile = ".codex/hooks.json";
constexpr const char* configFile = ".codex/config.toml";
constexpr const char* receiptFile = "Library/Application Support/Larkmoor/Connectors/codex.json";

#define ENTRY(timeout)                                                                                  \
    "{'type':'command','command':'{hook} --harness codex','statusMessage':'Loading Larkmoor rules and " \
    "memory','timeout':" timeout ",'additionalContextLimit':7500}"
#define OURS ENTRY("3")
#define USERS "{'command':'mine'}"
#define OLD "{'command':'/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness codex','timeout':7}"
#define SCRIPT "{'command':'python3 /x/fenwright/larkmoor/Scripts/prime-hook.py','timeout':5}"
#define GROUP(entries) "{'hooks':[" entries "]}"
#define PROMPT(groups) "{'hooks':{'UserPromptSubmit':[" groups "]}}"
#define STOP(groups) "{'hooks':{'Stop':[" groups "]}}"
#define SERVER "[mcp_servers.larkmoor]|command = '{mcp}'|args = []|"
#define RECORD(place, hash) "[hooks.state.'" place "']|trusted_hash = '" hash "'|"
#define TRUST(place, hash) RECORD("~/.codex/hooks.json:user_prompt_submit:" place, hash)
#define CREATED(names, slots) "{'created':[" names "],'trustSlots':[" slots "]}"
#define SLOT(place) "'~/.codex/hooks.json:user_prompt_submit:" place "'"
#define HOOKS "\n~/.codex/hooks.json: "
#define CONFIG "\n~/.codex/config.toml: "
#define HOOKS_COPIED "\n~/.codex/hooks.json" COPIED
#define CONFIG_COPIED "\n~/.codex/config.toml" COPIED
#define WRITTEN "the Larkmoor entry was written to this file"
#define TAKEN "the Larkmoor entry was removed from this file"
#define UNCHANGED "nothing in this file needed changing"
#define REFUSED(why) "refused" CONFIG "nothing was written — " why
#define MOVED                                                                                  \
    "refused" CONFIG                                                                           \
    "trusted hashes here are recorded by position, and 1 hook entries in ~/.codex/hooks.json " \
    "moved position, so nothing was written"

class CodexHome : public ConnectorHome {
  public:
    CodexConnector connector = codex();
    CodexHook hook{connector.paths};

    void put(std::string_view file, std::string text) const {
        replaceAll(text, "~", path());
        replaceAll(text, "{hash}", hook.identity().trustedHash());
        if (!text.empty()) write(file, text);
    }
    std::string get(std::string_view file) const {
        std::string text = read(file).value_or("");
        replaceAll(text, hook.identity().trustedHash(), "{hash}");
        return text;
    }
    std::string told(std::string_view verb) const {
        if (verb == "scan") return ConnectorHome::told(connector.scan());
        return ConnectorHome::told(verb == "install" ? connector.install() : connector.remove());
    }
};

// Another JSON writer and another SHA-256.
TEST(CodexHookIdentity, HashesWhatAnotherToolHashes) {
    const CodexHookIdentity table[] = {
        {.command = "/a/b --harness codex",
         .statusMessage = "Loading Larkmoor rules and memory",
         .timeout = 3,
         .additionalContextLimit = 7500},
        {.command = "/a/b", .timeout = 3, .matcher = "x"},
        {.command = "", .statusMessage = "", .timeout = -1, .matcher = "", .isAsync = true},
        {.command = "\"quoted\" \\ back / slash", .timeout = 0, .matcher = "\\\"", .additionalContextLimit = 0},
        {.command = "é 😀 \xE2\x80\xA8 \x7f", .statusMessage = "é", .timeout = 1, .matcher = "ü"},
        {.command = "\b\t\n\f\r\x01\x1f", .timeout = 9223372036854775807, .isAsync = true},
    };
    EXPECT_EQ(table[0].canonicalJSON(),
              R"({"event_name":"user_prompt_submit","hooks":[{"additionalContextLimit":7500,"async":false,)"
              R"("command":"/a/b --harness codex","statusMessage":"Loading Larkmoor rules and memory","timeout":3,)"
              R"("type":"command"}]})");
    EXPECT_TRUE(table[1].canonicalJSON().ends_with(R"("type":"command"}],"matcher":"x"})"));
    constexpr const char* script = R"(import hashlib, json, sys
command, status, timeout, matcher, is_async, limit = sys.argv[1:]
entry = {"type": "command", "command": command, "timeout": int(timeout), "async": is_async == "1"}
if status != "-": entry["statusMessage"] = status
if limit != "-": entry["additionalContextLimit"] = int(limit)
document = {"event_name": "user_prompt_submit", "hooks": [entry]}
if matcher != "-": document["matcher"] = matcher
text = json.dumps(document, sort_keys=True, separators=(",", ":"), ensure_ascii=False)
print("sha256:" + hashlib.sha256(text.encode()).hexdigest(), end=""))";
    for (const CodexHookIdentity& row : table) {
        const auto run = runTool({"/usr/bin/python3", "-c", script, row.command, row.statusMessage.value_or("-"),
                                  std::to_string(row.timeout), row.matcher.value_or("-"), row.isAsync ? "1" : "0",
                                  row.additionalContextLimit ? std::to_string(*row.additionalContextLimit) : "-"});
        EXPECT_EQ(row.trustedHash(), run.out) << row.canonicalJSON() << run.err;
    }
}

TEST(CodexTrustSlot, APathMayHoldColons) {
    EXPECT_EQ(CodexTrustSlot::parse("/a:b:user_prompt_submit:12:3"),
              (CodexTrustSlot{"/a:b:user_prompt_submit:12:3", "/a:b", "user_prompt_submit", 12, 3}));
    for (const char* key : {"", "a:b:c", "a:user_prompt_submit:x:0", "a:e:0:", "a:e::0", "a:e:0:1x", "a:e:0: 1"}) {
        EXPECT_EQ(CodexTrustSlot::parse(key), std::nullopt) << key;
    }
}

TEST(CodexVerbs, AFreshHomeIsConnectedAndComesBack) {
    const CodexHome home;
    EXPECT_EQ(home.told("scan"), "notFound\n~/.codex: there is no directory here");
    EXPECT_EQ(home.told("install"), "refused\n~/.codex: there is no Codex configuration here, so nothing was written");
    EXPECT_TRUE(std::filesystem::is_empty(home.path()));
    home.makeFolder(".codex");
    EXPECT_EQ(home.told("install"), "changed" HOOKS WRITTEN CONFIG WRITTEN);
    EXPECT_EQ(home.get(hooksFile), testData("connectors/codex-hooks.json"));
    EXPECT_EQ(home.get(configFile), testData("connectors/codex-config.toml"));
    EXPECT_EQ(home.get(receiptFile), testData("connectors/codex-receipt.json"));
    EXPECT_EQ(home.told("scan"), "connected" HOOKS "the Larkmoor hook entry here runs {hook} --harness codex" CONFIG
                                 "the Larkmoor MCP server entry here runs {mcp}" CONFIG
                                 "the trusted hash recorded here matches the Larkmoor hook entry");
    EXPECT_EQ(home.told("install"), "unchanged" HOOKS UNCHANGED CONFIG UNCHANGED);
    EXPECT_TRUE(home.told("remove").starts_with("changed" HOOKS_COPIED CONFIG_COPIED HOOKS "this file was created"));
    EXPECT_EQ(home.files().size(), 2U) << "the copies";
}

TEST(CodexVerbs, OverWhatStandsThere) {
#define SWITCHED_OFF "[hooks.state." SLOT("0:0") "]|enabled = false # mine|trusted_hash = '{hash}'|"
#define ELSEWHERE RECORD("/else:user_prompt_submit:0:0", "{hash}") RECORD("~/.codex/hooks.json:stop:4:0", "{hash}")
#define NEXT "# of the next|[next]|a = 1|"
    struct Case {
        std::string_view name, verb, hooks, config, receipt, told;
        /// If the verb changes something; what is empty stays as it was.
        std::string_view hooksAfter = "", configAfter = "";
    };
    const Case table[] = {
        {"around the user's", "install", PROMPT(GROUP(OLD "," USERS "," OURS)), "a = 1", "",
         "changed" HOOKS_COPIED CONFIG_COPIED HOOKS WRITTEN CONFIG WRITTEN, PROMPT(GROUP(OURS "," USERS)),
         "a = 1||" SERVER "|" TRUST("0:0", "{hash}")},
        {"twice before the user's", "install", PROMPT(GROUP(OURS "," OURS "," USERS)), "", "", MOVED},
        {"a group of ours before the user's", "remove", PROMPT(GROUP(OURS) "," GROUP(USERS)), "",
         CREATED("'codexHookGroup'", ""), MOVED},
        {"under another event, before the user's", "install", STOP(GROUP(OURS "," USERS)), "", "", MOVED},
        {"under another event", "scan", STOP(GROUP(OURS)), SERVER, "",
         "drifted" HOOKS
         "the Larkmoor hook entry here — a Larkmoor entry here is under the Stop event, which Codex does not read as "
         "UserPromptSubmit" CONFIG "the Larkmoor MCP server entry here runs {mcp}"},
        {"twice, of no whole seconds", "scan", PROMPT(GROUP(ENTRY("3.0") "," ENTRY("1e1"))), SERVER, "",
         "drifted" HOOKS "the Larkmoor hook entry here — this file holds 2 Larkmoor entries where one is expected" HOOKS
         "the Larkmoor hook entry here — the timeout on the Larkmoor entry here is not a whole number, so the identity "
         "Codex hashes cannot be computed (2 entries)" CONFIG "the Larkmoor MCP server entry here runs {mcp}" CONFIG
         "the timeout on the Larkmoor hook entry in ~/.codex/hooks.json is not a whole number, so the identity Codex "
         "hashes cannot be computed"},
        {"the trust by what is above it", "install", "", "hooks.state = {}|", "",
         "refused" CONFIG "this file did not read as TOML, so nothing was written — the key hooks.state states the "
         "Larkmoor block outside a table of its own, which is not a shape this build can edit"},
        {"a server by hand, and no place for a hook", "install", "{'hooks':[]}",
         "[mcp_servers.larkmoor]|command = '/opt/mine'|", "{",
         REFUSED("the [mcp_servers.larkmoor] entry here was written by hand and is not one this build wrote")},
        {"a table below", "remove", "", SERVER "[mcp_servers.larkmoor.env]|A = '1'|", "",
         REFUSED("the table [mcp_servers.larkmoor.env] hangs under the Larkmoor MCP entry, and writing this file would "
                 "leave it holding an entry with no command")},
        {"a server by hand that is ours by the receipt", "install", PROMPT(GROUP(OURS)),
         "[mcp_servers.larkmoor]|# one|command = 'x'|\t# two|b = '''|# text|'''|" NEXT, CREATED("'codexMCPTable'", ""),
         "changed" CONFIG_COPIED CONFIG WRITTEN HOOKS UNCHANGED CONFIG
         "2 comment lines inside the Larkmoor MCP entry were replaced",
         "", SERVER NEXT "|" TRUST("0:0", "{hash}")},
        {"switched off", "install", PROMPT(GROUP(OURS)), SERVER SWITCHED_OFF, CREATED("", SLOT("0:0")),
         "unchanged" HOOKS UNCHANGED CONFIG UNCHANGED CONFIG
         "the hook switch recorded here is off, so Codex does not call the "
         "Larkmoor hook entry in ~/.codex/hooks.json"},
        {"stale, foreign and others' records", "install", PROMPT(GROUP(USERS "," OURS "," USERS)),
         SERVER TRUST("0:2", "{hash}") TRUST("0:0", "sha256:1") TRUST("5:0", "sha256:2") TRUST("6:0", "{hash}")
             TRUST("7:0", "sha256:3") ELSEWHERE,
         CREATED("", SLOT("0:0") "," SLOT("0:1") "," SLOT("5:0")),
         "changed" CONFIG_COPIED CONFIG WRITTEN HOOKS UNCHANGED CONFIG
         "a hash Larkmoor's hook has carried before is recorded here for the slot "
         "~/.codex/hooks.json:user_prompt_submit:0:2, which Larkmoor did not write",
         "",
         SERVER TRUST("0:2", "{hash}") TRUST("0:0", "sha256:1") TRUST("7:0", "sha256:3") ELSEWHERE
         "|" TRUST("0:1", "{hash}")},
        {"all but the user's", "remove", PROMPT(GROUP(USERS "," SCRIPT)), ELSEWHERE SERVER SWITCHED_OFF,
         CREATED("", SLOT("0:0")), "changed" HOOKS_COPIED CONFIG_COPIED HOOKS TAKEN CONFIG TAKEN, PROMPT(GROUP(USERS)),
         ELSEWHERE "[hooks.state." SLOT("0:0") "]|enabled = false # mine|"},
        {"behind what has come since", "remove", PROMPT(GROUP(OURS)), "a = 1||" SERVER "[since]|b = 1|",
         CREATED("'codexConfigTrailingNewline','codexHooksObject','codexEventArray','codexHookGroup'", ""),
         "changed" HOOKS_COPIED CONFIG_COPIED HOOKS TAKEN CONFIG TAKEN HOOKS
         "this file is now empty and remains, because Larkmoor did not create it",
         "{}", "a = 1|[since]|b = 1|"},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const CodexHome home;
        home.makeFolder(".codex");
        home.put(hooksFile, std::string{row.hooks});
        home.put(configFile, std::string{row.config});
        home.put(receiptFile, std::string{row.receipt});
        const auto before = home.files();
        EXPECT_EQ(home.told(row.verb), row.told);
        if (!row.told.starts_with("changed")) EXPECT_EQ(home.files(), before);
        EXPECT_EQ(home.get(hooksFile), unfolded(row.hooksAfter.empty() ? row.hooks : row.hooksAfter));
        EXPECT_EQ(home.get(configFile), unfolded(row.configAfter.empty() ? row.config : row.configAfter));
        if (row.verb == "install" && row.told.starts_with("changed")) {
            EXPECT_EQ(home.connector.scan().state, ConnectorState::connected);
            EXPECT_EQ(home.connector.install().result, Result::unchanged);
        }
    }
}

TEST(CodexVerbs, AReceiptThatIsOwedIsWrittenAloneAndNeverLostAlone) {
    const CodexHome home;
    home.put(hooksFile, PROMPT(GROUP(OURS)));
    home.put(configFile, SERVER TRUST("0:0", "{hash}"));
    EXPECT_EQ(home.told("install"), "changed" HOOKS UNCHANGED CONFIG UNCHANGED);
    EXPECT_EQ(ReceiptStore{home.path(receiptFile)}.read().trustSlots.size(), 1U);
    const auto files = home.files();
    EXPECT_EQ(files.size(), 3U) << "no copy";
    home.setMode(configFile, 0200);
    EXPECT_EQ(home.told("remove"),
              "refused" CONFIG "this file did not read as TOML, so nothing was written — Permission denied");
    home.setMode(configFile, 0600);
    EXPECT_EQ(home.files(), files);
    EXPECT_FALSE(home.connector.staleOwnWiring());
    home.put(configFile, SERVER);
    EXPECT_TRUE(home.connector.staleOwnWiring());
    home.put(hooksFile, PROMPT(GROUP(OURS "," OLD)));
    EXPECT_FALSE(home.connector.staleOwnWiring()) << "another bundle's";
}

/// The places of the user's commands, which are all different.
std::map<std::string, std::string> places(const JSONNode& at, const std::string& path = "") {
    if (at.text() && at.text()->starts_with("user")) return {{std::string{*at.text()}, path}};
    std::map<std::string, std::string> all;
    for (const JSONMember& member : at.members())
        all.merge(places(member.value, fmt::format("{}.{}", path, member.key)));
    for (const JSONNode& element : at.elements()) {
        all.merge(places(element, fmt::format("{}.{}", path, &element - at.elements().data())));
    }
    return all;
}

TEST(CodexPositions, AnEditThatWouldMoveAHookOfTheUsersIsRefusedNeverDone) {
    const CodexHome home;
    std::mt19937 chance{1};
    int refusals = 0;
    for (int round = 0; round < 800; ++round) {
        int users = 0;
        const auto list = [&](const auto& item) {
            std::string text = item();
            while (chance() % 2 == 0) text += "," + item();
            return text;
        };
        const auto entry = [&] {
            return chance() % 3 == 0 ? std::string{OURS} : fmt::format("{{'command':'user {}'}}", ++users);
        };
        const auto groups = [&] { return list([&] { return fmt::format("{{'hooks':[{}]}}", list(entry)); }); };
        home.put(hooksFile, fmt::format("{{'hooks':{{'Stop':[{}],'UserPromptSubmit':[{}]}}}}", groups(), groups()));
        const auto read = [&] { return *JSONDocument::read(*Files::read(home.path(hooksFile)), JSONDialect::strict); };
        const JSONDocument before = read();
        const std::set<Created> created{chance() % 2 == 0 ? Created::codexHookGroup : Created::codexConfigFile};
        const bool installs = chance() % 2 == 0;
        std::filesystem::remove(home.path(configFile));
        ASSERT_TRUE(ReceiptStore{home.path(receiptFile)}.write({created, {}, {}, {}}));
        const FileDocument planned =
            installs ? home.hook.installed(before)->document : *home.hook.removed(before, created)->document;
        const bool moves = places(std::get<JSONDocument>(planned).root()) != places(before.root());
        const ConnectorOutcome outcome = installs ? home.connector.install() : home.connector.remove();
        ASSERT_EQ(outcome.result == Result::refused, moves) << home.get(hooksFile);
        ASSERT_EQ(places(read().root()), places(before.root()));
        refusals += moves ? 1 : 0;
    }
    EXPECT_GT(refusals, 200);
    EXPECT_LT(refusals, 600);
}

}  // namespace
}  // namespace larkmoor::testing

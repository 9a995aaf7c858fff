// The old connection to the chat application taken back, on real files.
#include "LarkmoorConnectors/ClaudeChat/ClaudeChatRetirement.h"
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor::testing {
namespace {

using Connectors::Profile;

#define CHAT "~/Library/Application Support/Claude/claude_desktop_config.json"
#define APPLICATION "{'command':'/Applications/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}"
#define DEVELOPMENT "{'command':'/me/dist-dev/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}"
#define CHECKOUT "{'command':'/me/fenwright/larkmoor/x/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}"
#define CHANGED "changed\n" CHAT COPIED
#define REMOVED(name) "\n" CHAT ": the Larkmoor entry \"" name "\" was removed from this file"
#define UNREAD "refused\n" CHAT ": this file did not read as JSON — "
#define TWICE(name, byte) UNREAD "the name \"" name "\" appears twice in one object (at byte " byte ")"
#define SERVERS(entries) "{'mcpServers':{" entries "}}"

ConnectorOutcome retire(const ConnectorHome& home, Profile profile) {
    ClaudeChatRetirement retirement{.paths = ClaudeChatPaths::under(home.path(), home.bundle()), .profile = profile};
    retirement.now = [] { return moment; };
    return retirement.retire();
}

TEST(ClaudeChatRetirementTest, OnlyWhatWeWroteGoes) {
    constexpr std::string_view none = "unchanged\n" CHAT ": this file holds no Larkmoor entry of this profile";
    struct Case {
        std::string_view name, in, told;
        std::string_view after = "";  ///< if not the input
        Profile profile = Profile::production;
    };
    const Case table[] = {
        {"ours among others", "{|  'mcpServers': {|    'x': 1,|    'my lark': " APPLICATION ",|    'y': 2|  }|}|",
         CHANGED REMOVED("my lark"), "{|  'mcpServers': {|    'x': 1,|    'y': 2|  }|}|"},
        {"two of ours", SERVERS("'a':" APPLICATION ",'b':" APPLICATION), CHANGED REMOVED("a") REMOVED("b"),
         SERVERS("")},
        {"an engineer's", SERVERS("'a':" DEVELOPMENT ",'b':" CHECKOUT), none},
        {"for an engineer", SERVERS("'a':" DEVELOPMENT ",'c':" APPLICATION ",'b':" CHECKOUT),
         CHANGED REMOVED("a") REMOVED("b"), SERVERS("'c':" APPLICATION), Profile::dev},
        {"strangers", SERVERS("'larkmoor':{'command':'larkmoor-mcp'},'b':{'command':7},'c':[]"), none},
        {"no servers", "{'mcpServers':[]}", none},
        {"a comment", "{} // mine", UNREAD "there are bytes after the top-level value (at byte 3)"},
        {"twice in ours", SERVERS("'a':{'x':1,'x':2,'command':'/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}"),
         TWICE("x", "26")},
        {"twice in another's", SERVERS("'a':{'x':1,'x':2},'b':" APPLICATION), CHANGED REMOVED("b"),
         SERVERS("'a':{'x':1,'x':2}")},
        {"twice a server", SERVERS("'a':1,'a':" APPLICATION), TWICE("a", "21")},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome home;
        home.write(chatFile, row.in);
        EXPECT_EQ(home.told(retire(home, row.profile)), row.told);
        EXPECT_EQ(home.read(chatFile), unfolded(row.after.empty() ? row.in : row.after));
        EXPECT_EQ(home.files().size(), row.told.starts_with("changed") ? 2U : 1U);
    }
}

TEST(ClaudeChatRetirementTest, WhatCannotBeReadIsNotThereAndWhatCannotBeWrittenIsLeft) {
    ASSERT_NE(::geteuid(), 0U) << "root is refused nothing";
    const ConnectorHome home;
    EXPECT_EQ(home.told(retire(home, Profile::production)), "unchanged\n" CHAT ": there is no file here");
    home.write(chatFile, "{'mcpServers':{'a':" APPLICATION "}}");
    home.setMode(chatFile, 0000);
    EXPECT_EQ(home.told(retire(home, Profile::production)), "unchanged\n" CHAT ": there is no file here");
    home.setMode(chatFile, 0444);
    EXPECT_EQ(home.told(retire(home, Profile::production)),
              "refused\n" CHAT ": this file cannot be written by this user, so nothing was written");
}

}  // namespace
}  // namespace larkmoor::testing

// The old connection to the chat application taken back, on real files.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ClaudeChat/ClaudeChatRetirement.h"
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

using Connectors::Profile;
using testing::chatFile;
using testing::ConnectorHome;
using testing::moment;
using testing::unfolded;

#define CHAT "~/Library/Application Support/Claude/claude_desktop_config.json"
#define APPLICATION "{'command':'/Applications/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}"
#define DEVELOPMENT "{'command':'/me/dist-dev/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}"
#define CHECKOUT "{'command':'/me/fenwright/larkmoor/x/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}"
#define COPIED CHAT ".larkmoor-backup-" MOMENT ": a copy of the file was made here first\n"

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
         "changed\n" COPIED CHAT ": the Larkmoor entry \"my lark\" was removed from this file",
         "{|  'mcpServers': {|    'x': 1,|    'y': 2|  }|}|"},
        {"two of ours", "{'mcpServers':{'a':" APPLICATION ",'b':" APPLICATION "}}",
         "changed\n" COPIED CHAT ": the Larkmoor entry \"a\" was removed from this file\n" CHAT
         ": the Larkmoor entry \"b\" was removed from this file",
         "{'mcpServers':{}}"},
        {"an engineer's", "{'mcpServers':{'a':" DEVELOPMENT ",'b':" CHECKOUT "}}", none},
        {"for an engineer", "{'mcpServers':{'a':" DEVELOPMENT ",'c':" APPLICATION ",'b':" CHECKOUT "}}",
         "changed\n" COPIED CHAT ": the Larkmoor entry \"a\" was removed from this file\n" CHAT
         ": the Larkmoor entry \"b\" was removed from this file",
         "{'mcpServers':{'c':" APPLICATION "}}", Profile::dev},
        {"strangers", "{'mcpServers':{'larkmoor':{'command':'larkmoor-mcp'},'b':{'command':7},'c':[]}}", none},
        {"no servers", "{'mcpServers':[]}", none},
        {"a comment", "{} // mine",
         "refused\n" CHAT ": this file did not read as JSON — there are bytes after the top-level value (at byte 3)"},
        {"twice in ours", "{'mcpServers':{'a':{'x':1,'x':2,'command':'/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}}}",
         "refused\n" CHAT ": this file did not read as JSON — the name \"x\" appears twice in one object (at byte 26)"},
        {"twice in another's", "{'mcpServers':{'a':{'x':1,'x':2},'b':" APPLICATION "}}",
         "changed\n" COPIED CHAT ": the Larkmoor entry \"b\" was removed from this file",
         "{'mcpServers':{'a':{'x':1,'x':2}}}"},
        {"twice a server", "{'mcpServers':{'a':1,'a':" APPLICATION "}}",
         "refused\n" CHAT ": this file did not read as JSON — the name \"a\" appears twice in one object (at byte 21)"},
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
    const auto before = home.files();
    EXPECT_EQ(home.told(retire(home, Profile::production)),
              "refused\n" CHAT ": this file cannot be written by this user, so nothing was written");
    EXPECT_EQ(home.files(), before);
}

}  // namespace
}  // namespace larkmoor

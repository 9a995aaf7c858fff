// Over thousands of settings files made by chance: an install connects, a second one changes nothing, and a removal
// takes out ours and nothing else.
#include <gtest/gtest.h>

#include <random>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeHook.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;
using testing::text;

/// Settings with entries of the user's, numbered in file order, and as it falls out some of ours among them. No
/// container is empty, so that all of them have to come back.
class SettingsMaker {
  public:
    SettingsMaker(unsigned seed, const ConnectorHome& home) : chance_(seed), home_(home) {
        newline_ = pick({"", "\n", "\n", "\r\n"});
        unit_ = newline_.empty() ? "" : pick({" ", "  ", "    ", "\t"});
        colon_ = pick({":", ": ", " : "});
    }

    std::string make(bool withOurs) {
        withOurs_ = withOurs;
        std::vector<std::string> events;
        for (const char* event : {"PreToolUse", "Stop", "UserPromptSubmit"}) {
            if (one(2)) events.push_back(member(event, array(3, 2, [this] { return group(); })));
        }
        std::vector<std::string> members{member("model", "\"x\"")};
        if (!events.empty()) members.push_back(member("hooks", container("{}", 1, events)));
        if (one(2)) members.push_back(member("b", "[1,\t2 ]"));
        return container("{}", 0, members) + pick({"", "\n"});
    }

  private:
    bool one(int of) { return std::uniform_int_distribution{1, of}(chance_) == 1; }
    std::string pick(std::vector<std::string> texts) {
        return texts[std::uniform_int_distribution<std::size_t>{0, texts.size() - 1}(chance_)];
    }

    std::string member(std::string_view name, const std::string& value) const {
        return fmt::format("\"{}\"{}{}", name, colon_, value);
    }
    std::string container(std::string_view brackets, int depth, const std::vector<std::string>& items) const {
        std::string indent;
        for (int level = 0; level < depth; ++level) indent += unit_;
        std::string all{brackets.front()};
        for (const std::string& item : items) {
            all += fmt::format("{}{}{}{}{}", &item == &items.front() ? "" : ",", newline_, indent, unit_, item);
        }
        return all + newline_ + indent + brackets.back();
    }
    template <class Make>
    std::string array(int most, int depth, Make make) {
        std::vector<std::string> items;
        do items.push_back(make());
        while (!one(most));
        return container("[]", depth, items);
    }

    std::string group() {
        if (one(8)) return "7";
        std::vector<std::string> members;
        if (one(3)) members.push_back(member("matcher", "\"Bash\""));
        members.push_back(member("hooks", array(2, 4, [this] { return entry(); })));
        return container("{}", 3, members);
    }
    std::string entry() {
        const std::string mine = fmt::format("user-{}", ++users_);
        const std::string ours = withOurs_ && one(2)
                                     ? pick({home_.hook() + " --harness claude-code --slot rules",
                                             home_.hook() + " --harness=claude-code --slot=pretool",
                                             home_.hook() + " --harness claude-code --slot pretool",
                                             "/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code",
                                             "python3 /x/fenwright/larkmoor/Scripts/prime-hook.py"})
                                     : mine;
        return container("{}", 5, {member("type", "\"command\""), member("command", JSONLiteral::quote(ours))});
    }

    std::mt19937 chance_;
    const ConnectorHome& home_;
    std::string newline_, unit_, colon_;
    bool withOurs_ = false;
    int users_ = 0;
};

/// The user's commands, in the order in which they stand in the file.
std::vector<std::string> usersCommands(const std::string& file) {
    std::vector<std::string> commands;
    for (std::size_t at = file.find("\"user-"); at != std::string::npos; at = file.find("\"user-", at + 1)) {
        commands.push_back(file.substr(at, file.find('"', at + 1) - at));
    }
    return commands;
}

TEST(ClaudeCodeProperties, WhateverTheFileInstallsAndComesBack) {
    const ConnectorHome home;
    const ClaudeCodeHook hook{ClaudeCodePaths::under(home.path(), home.bundle())};
    for (unsigned seed = 1; seed <= 600; ++seed) {
        const bool withOurs = seed % 2 == 0;
        const std::string before = SettingsMaker{seed, home}.make(withOurs);
        SCOPED_TRACE(before);
        ASSERT_EQ(hook.unreadableReason(asBytes(before)), std::nullopt);
        const auto installed = hook.installed(asBytes(before));
        ASSERT_TRUE(installed) << installed.error().description();
        ASSERT_EQ(hook.find(installed->bytes), BlockFinding{BlockFinding::Connected{}}) << text(installed->bytes);
        ASSERT_EQ(hook.installed(installed->bytes)->bytes, installed->bytes);
        ASSERT_EQ(usersCommands(text(installed->bytes)), usersCommands(before)) << text(installed->bytes);
        const auto removed = hook.removed(installed->bytes, installed->created);
        ASSERT_TRUE(removed) << removed.error().description();
        ASSERT_EQ(usersCommands(text(removed->bytes)), usersCommands(before)) << text(removed->bytes);
        const auto scan = JSONText::scanWithTrivia(removed->bytes, JSONDialect::strict);
        ASSERT_TRUE(scan);
        ASSERT_TRUE(hook.sites(scan->root).empty()) << text(removed->bytes);
        if (withOurs) continue;
        ASSERT_EQ(text(removed->bytes), before);
        ASSERT_TRUE(removed->leftovers.empty());
    }
}

}  // namespace
}  // namespace larkmoor

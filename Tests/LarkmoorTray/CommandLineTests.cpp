// How the terminal tray understands its arguments.
#include "CommandLine.h"

#include <gtest/gtest.h>

#include <vector>

namespace larkmoor::tray {
namespace {

using Verb = CommandLine::Verb;

std::expected<CommandLine, std::string> parse(const std::vector<std::string_view>& arguments) {
    return CommandLine::parse(arguments);
}

TEST(CommandLine, Understands) {
    struct Case {
        std::vector<std::string_view> arguments;
        CommandLine want;
    };
    using namespace std::chrono_literals;
    const Case table[] = {
        {{}, {.verb = Verb::interactive}},
        {{"list", "--json"}, {.verb = Verb::list, .json = true}},
        {{"--json", "show"}, {.verb = Verb::show, .json = true}},
        {{"show", "other", "--all"}, {.verb = Verb::show, .item = "other", .all = true}},
        {{"click", "Quit"}, {.verb = Verb::click, .row = "Quit"}},
        {{"click", "12", ":1.5", "--wait", "2.5"}, {.verb = Verb::click, .row = "12", .item = ":1.5", .wait = 2500ms}},
        {{"click", "--", "-x"}, {.verb = Verb::click, .row = "-x"}},
        {{"watch"}, {.verb = Verb::watch}},
        {{"host"}, {.verb = Verb::host}},
        {{"show", "--help"}, {.verb = Verb::help}},
    };
    for (const Case& test : table) {
        const auto command = parse(test.arguments);
        ASSERT_TRUE(command.has_value()) << command.error();
        EXPECT_EQ(*command, test.want) << (test.arguments.empty() ? "" : test.arguments.front());
    }
}

TEST(CommandLine, RefusesWhatItDoesNotUnderstand) {
    const std::vector<std::string_view> table[] = {
        {"dance"},          {"click"},        {"click", "a", "b", "c"}, {"list", "x"},     {"show", "--wait"},
        {"--wait", "soon"}, {"--wait", "-1"}, {"--wait", "1s"},         {"--wait", "nan"}, {"--wait", "1e99"},
        {"--colour"},
    };
    for (const auto& arguments : table) EXPECT_FALSE(parse(arguments).has_value()) << arguments.back();
}

}  // namespace
}  // namespace larkmoor::tray

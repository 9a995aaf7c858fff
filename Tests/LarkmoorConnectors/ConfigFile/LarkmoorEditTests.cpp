// The real tool over real files, and with it what each edit makes of a whole TOML file.
#include <gtest/gtest.h>

#include <sstream>

#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"
#include "LarkmoorConnectors/ConfigFile/JSONShown.h"
#include "Support/RunTool.h"

namespace larkmoor {
namespace {

using testing::ConfigFolder;
using testing::runTool;
using testing::ToolRun;
using testing::unfolded;

ToolRun edit(std::vector<std::string> words, std::string_view input = {}) {
    words.insert(words.begin(), LARKMOOR_EDIT);
    return runTool(words, input);
}

/// The words are separated by one space; in words, input and output ' is a quote and | a line feed.
struct Case {
    std::string_view words, input;
    std::string_view want;  ///< all of the output, or how the errors of a failure begin
};

void expectRuns(int status, std::span<const Case> table) {
    for (const Case& row : table) {
        std::vector<std::string> words;
        std::istringstream text{unfolded(row.words)};
        for (std::string word; text >> word;) words.push_back(word);
        const ToolRun run = edit(words, unfolded(row.input));
        EXPECT_EQ(run.status, status) << row.words;
        EXPECT_EQ(run.out, status == 0 ? unfolded(row.want) : "") << row.words;
        EXPECT_TRUE(run.err.starts_with(status == 0 ? "" : unfolded(row.want))) << row.words << ": " << run.err;
        EXPECT_EQ(run.err.empty(), status == 0) << row.words << ": " << run.err;
    }
}

TEST(LarkmoorEdit, Filters) {
    const Case table[] = {
        {"json scan -", "{'a':1}", ""},
        {"json scan --comments -", "{} // c", ""},
        {"json set [] b 2 -", "{|\t'a': 1|}|", "{|\t'a': 1,|\t'b': 2|}|"},
        {"json set ['h',0] c {'x':[true,'y']} -", "{'h':[{}]}", "{'h':[{'c':{'x':[true,'y']}}]}"},
        {"json set --comments [] b -2 -", "{\r|  'a': 1 // c\r|}", "{\r|  'a': 1,\r|  'b': -2 // c\r|}"},
        {"json remove [] a -", "{ 'a': 1, 'b': 2 }", "{ 'b': 2 }"},
        {"json append ['a'] 'x' -", "{'a': [1, 2]}", "{'a': [1, 2, 'x']}"},
        {"json remove-element [] 1 -", "[1, 2, 3]", "[1, 3]"},
        {"json set -- [] --comments 1 -", "{}", "{'--comments':1}"},
        {"toml scan -", "a = 1|", ""},
        {"toml remove-key ['t'] k -", "[t]|j = 1|k = 1 # c|", "[t]|j = 1|"},
    };
    expectRuns(0, table);
}

#define BOM "\xEF\xBB\xBF"

TEST(LarkmoorEdit, SetsATOMLTableAndLeavesTheRest) {
    constexpr std::string_view words = "toml set-table ['m','x'] a=1 -";
    const Case table[] = {
        {words, "", "[m.x]|a = 1|"},
        {words, "k = 1|", "k = 1||[m.x]|a = 1|"},
        {words, "k = 1", "k = 1||[m.x]|a = 1|"},
        {words, "k = 1|j = 2\r|", "k = 1|j = 2\r|\r|[m.x]\r|a = 1\r|"},
        {words, "k = 1\r|j = 2", "k = 1\r|j = 2\r|\r|[m.x]\r|a = 1\r|"},
        {words, BOM "k=1|", BOM "k=1||[m.x]|a = 1|"},
        {words, "k=1|| [ m . 'x' ] # ours|# note|old = 1 # y||  [b]|z=1|", "k=1|| [ m . 'x' ] # ours|a = 1|[b]|z=1|"},
        {words, "[m.x]|k=1||  # of b|\t# too|  [b]|", "[m.x]|a = 1|  # of b|\t# too|  [b]|"},
        {words, "[m.x]|# of ours||# of b|[b]|", "[m.x]|a = 1|# of b|[b]|"},
        {words, "[m.x]|k='''|# no comment'''|[b]|", "[m.x]|a = 1|[b]|"},
        {words, "[m.x]", "[m.x]|a = 1|"},
        {words, "k=1\r|[m.x] # c", "k=1\r|[m.x] # c\r|a = 1\r|"},
        {"toml set-table ['h','/u:\\'x\\''] a='=' b=[1] -", "", "[h.'/u:\\'x\\'']|a = '='|b = [1]|"},
    };
    expectRuns(0, table);
}

TEST(LarkmoorEdit, SetsATOMLKeyAndLeavesTheRestOfItsLine) {
    constexpr std::string_view words = "toml set-key ['t'] key 'new' -";
    const Case table[] = {
        {words, "[t]|key='a'\t# note|b = 2|", "[t]|key = 'new'\t# note|b = 2|"},
        {words, "[t]|  'key' = [ 1,|2 ]\r|", "[t]|  key = 'new'\r|"},
        {words, "[t]|key.x = 1|", "[t]|key.x = 1|key = 'new'|"},
        {words, "[t]", "[t]|key = 'new'|"},
        {words, "[t]|a = 1||[u]|key = 2|", "[t]|a = 1||key = 'new'|[u]|key = 2|"},
        {words, "[t]|  [u]|", "[t]|  |key = 'new'|[u]|"},
        {words, "[t]|a = 1||  # of u|  [[u]]|", "[t]|a = 1||key = 'new'|  # of u|  [[u]]|"},
        {"toml set-key [] a.b 2 -", "[[t]]|[[t]]|", "'a.b' = 2|[[t]]|[[t]]|"},
    };
    expectRuns(0, table);
}

TEST(LarkmoorEdit, RemovesATOMLTableWithOneBlankLineAbove) {
    constexpr std::string_view words = "toml remove-table ['t'] -";
    const Case table[] = {
        {words, "a = 1||[t]|x = 1|", "a = 1|"},
        {words, "a = 1|||[t]|x = 1|[u]|", "a = 1||[u]|"},
        {words, "a = 1| \t\r|[t]|", "a = 1|"},
        {words, "a = 1|# x|[t]|", "a = 1|# x|"},
        {words, "a = 1|[t]|x = 1|", "a = 1|"},
        {words, "[t]|# x|x = 1|||[u]|", "[u]|"},
        {words, "[t]|x = 1", ""},
        {words, "# of t|[t]|x = 1||  # of u|  [u]|", "# of t|  # of u|  [u]|"},
        {words, "[u]||[t]|# of t|", "[u]|"},
        {words, "|[t]|x = 1||[u]|", "[u]|"},
        {words, BOM "|[t]|[u]|", BOM "[u]|"},
        {words, "a = 1||  [t]|  x = 1|  [u]|", "a = 1||  [u]|"},
    };
    expectRuns(0, table);
}

TEST(LarkmoorEdit, RefusesInWords) {
    const Case table[] = {
        {"json scan -", "{} // c", "there are bytes after the top-level value (at byte 3)|"},
        {"json scan /nowhere", "", "/nowhere: No such file or directory|"},
        {"json set ['a','b'] k 1 -", "{'a':{}}", "a.b is not an object|"},
        {"json remove-element [] -1 -", "[1]", "the top-level value has no element -1|"},
        {"json set ['a'] k 1 -", "{'b':1,'a':{},'b':2}", "the name 'b' appears twice in one object (at byte 14)|"},
        {"json set [] k {'a':1,'a':2} -", "{}", "the name 'a' appears twice in one object (at byte 7)|"},
        {"toml scan -", "a = [1", "a value was left open at the end of the file (at byte 4)|"},
        {"toml remove-table ['t.u','v'] -", "a = 1|", "['t.u'.v] is not in this file|"},
        {"toml remove-table ['t'] -", "a", "the file ended inside a key (at byte 1)|"},
        {"toml set-table ['t'] a='open -", "", "a string ran past the end of its line (at byte 8)|"},
        {"toml set-table ['t'] a=1 -", "a = 1\r|b = 2\r", "there are bytes after the end of a value (at byte 13)|"},
        {"toml set-key ['t'] key [1 -", "[t]|key = 1|", "a value was left open at the end of the file (at byte 10)|"},
        {"toml set-key ['t'] k 2 -", "a = 1|", "[t] is not in this file|"},
        {"toml remove-key ['t'] k -", "[t]|", "k is not in [t]|"},
        {"toml set-table ['t'] a=1 -", "[[t]]|", "the table [[t]] is an array of tables"},
    };
    expectRuns(1, table);
}

TEST(LarkmoorEdit, TellsWrongUsageApart) {
    const Case table[] = {
        {"", "", "usage:|"},
        {"yaml scan -", "", "there is no verb yaml scan|"},
        {"json set [] k -", "{}", "json set does not take 3 arguments|"},
        {"toml set-table ['t'] -", "", "toml set-table does not take 2 arguments|"},
        {"json scan --loose -", "{}", "there is no option --loose|"},
        {"json append --comments [] 1 -", "[]", "--comments does not go with append|"},
        {"json scan --in-place x", "", "--in-place does not go with scan|"},
        {"json set --in-place [] k 1 -", "{}", "--in-place wants a file"},
        {"json set {} k 1 -", "{}", "{} is no path"},
        {"json set [1.5] k 1 -", "{}", "[1.5] is no path"},
        {"json set ['a' k 1 -", "{}", "['a' is no path"},
        {"json remove-element [] one -", "[1]", "one is no index"},
        {"json set [] k { -", "{}", "{ is no JSON: a member name was expected (at byte 1)|"},
        {"json set [] k null -", "{}", "null is no value to be written"},
        {"json append [] [1.5] -", "[]", "1.5 is no value to be written"},
        {"json set [] k 9223372036854775808 -", "{}", "9223372036854775808 is no value to be written"},
        {"toml set-table [0] a=1 -", "", "[0] is no table"},
        {"toml set-table ['t'] a -", "", "a is no KEY=VALUE"},
    };
    expectRuns(2, table);
    EXPECT_TRUE(edit({"--help"}).out.starts_with("usage:\n  larkmoor-edit json scan"));
}

ToolRun inShell(const std::string& script, std::string_view input = {}) {
    return runTool({"/bin/sh", "-c", script, LARKMOOR_EDIT}, input);
}

TEST(LarkmoorEdit, ReadsOnFromWhereStandardInputStands) {
    const ToolRun run = inShell(R"(dd bs=1 count=3 >/dev/null 2>&1; exec "$0" json set [] a 1 -)", "xyz{}");
    EXPECT_EQ(run.out, R"({"a":1})");
    EXPECT_EQ(run.status, 0) << run.err;
}

TEST(LarkmoorEdit, SaysWhatItCannotPrint) {
    const ToolRun filter = inShell(R"(exec "$0" json set [] a 1 - >/dev/full)", "{}");
    EXPECT_EQ(filter.status, 1);
    EXPECT_EQ(filter.err, "standard output: No space left on device\n");

    // The file has changed, which no failure may tell otherwise.
    const ConfigFolder folder;
    folder.write("a", "{}");
    const ToolRun inPlace = inShell(R"(exec "$0" json set --in-place [] a 1 ')" + folder.path("a") + "' >/dev/full");
    EXPECT_EQ(inPlace.status, 0);
    EXPECT_EQ(inPlace.err, "standard output: No space left on device\n");
    EXPECT_EQ(folder.read("a"), R"({"a":1})");
}

TEST(LarkmoorEdit, CommitsInPlaceBesideACopy) {
    const ConfigFolder folder;
    const std::string before = "{\n    \"a\": 1 // mine\n}\n";
    folder.makeFolder("dotfiles");
    folder.write("dotfiles/settings.json", before, 0600);
    folder.link("settings.json", "dotfiles/settings.json");
    const std::vector<std::string> words{"json", "set", "--comments", "--in-place",
                                         "[]",   "b",   "[]",         folder.path("settings.json")};

    const ToolRun run = edit(words);
    EXPECT_EQ(run.status, 0) << run.err;
    const auto after = folder.files();
    ASSERT_EQ(after.size(), 3U);
    EXPECT_EQ(after.at("dotfiles/settings.json"), "{\n    \"a\": 1,\n    \"b\": [] // mine\n}\n");
    EXPECT_EQ(folder.mode("dotfiles/settings.json"), 0600U);
    EXPECT_EQ(after.at("settings.json"), "-> dotfiles/settings.json");
    const auto& [copy, copied] = *std::next(after.begin());
    EXPECT_TRUE(copy.starts_with("dotfiles/settings.json.larkmoor-backup-")) << copy;
    EXPECT_EQ(copied, before);
    EXPECT_EQ(run.out, folder.path(copy) + ": a copy of the file was made here first\n");

    const ToolRun same = edit(words);
    EXPECT_EQ(same.status, 0);
    EXPECT_EQ(same.out, "");
    EXPECT_EQ(folder.files(), after);
}

TEST(LarkmoorEdit, LeavesTheFileAloneWhenItRefuses) {
    ASSERT_NE(::geteuid(), 0U) << "root may write everywhere: run the tests as an unprivileged user";
    const ConfigFolder folder;
    folder.write("a", R"({"a":1})");
    const std::string file = folder.path("a");
    const auto stamp = Files::modified(file);
    const auto before = folder.files();

    EXPECT_EQ(edit({"json", "remove", "--in-place", "[]", "b", file}).status, 1);
    EXPECT_EQ(edit({"json", "set", "--in-place", "[]", "b", "null", file}).status, 2);
    EXPECT_EQ(edit({"json", "set", "--in-place", "[]", "b", file}).status, 2);
    folder.setMode("", 0500);
    const ToolRun locked = edit({"json", "set", "--in-place", "[]", "b", "1", file});
    EXPECT_EQ(locked.status, 1);
    EXPECT_EQ(locked.out, "");
    EXPECT_EQ(locked.err, folder.path() + ": this folder cannot be written by this user, so nothing was written\n");

    EXPECT_EQ(folder.files(), before);
    EXPECT_EQ(Files::modified(file), stamp);
}

}  // namespace
}  // namespace larkmoor

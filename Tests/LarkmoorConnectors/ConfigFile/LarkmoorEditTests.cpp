// The real tool, and with it what each edit makes of a whole TOML file.
#include <sstream>

#include "LarkmoorConnectors/ConfigFile/JSONShown.h"
#include "Support/RunTool.h"

namespace larkmoor::testing {
namespace {

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

#define BOM "\xEF\xBB\xBF"

/// The layout alone: that the other bytes stay is asked of generated documents.
TEST(LarkmoorEdit, EditsTOMLInItsOwnLayout) {
    constexpr std::string_view setTable = "toml set-table ['m','x'] a=1 -", setKey = "toml set-key ['t'] key 'new' -",
                               removeTable = "toml remove-table ['t'] -";
    const Case table[] = {
        {setTable, "", "[m.x]|a = 1|"},
        {setTable, "k = 1", "k = 1||[m.x]|a = 1|"},
        {setTable, "k = 1|j = 2\r|", "k = 1|j = 2\r|\r|[m.x]\r|a = 1\r|"},
        {setTable, BOM "k=1|", BOM "k=1||[m.x]|a = 1|"},
        {setTable, "k=1|| [ m . 'x' ] # ours|# note|old = 1||  [b]|", "k=1|| [ m . 'x' ] # ours|a = 1|[b]|"},
        {setTable, "[m.x]|k=1||  # of b|\t# too|  [b]|", "[m.x]|a = 1|  # of b|\t# too|  [b]|"},
        {setTable, "[m.x]|# of ours||# of b|[b]|", "[m.x]|a = 1|# of b|[b]|"},
        {setTable, "[m.x]|k='''|# no comment'''|[b]|", "[m.x]|a = 1|[b]|"},
        {setTable, "k=1\r|[m.x] # c", "k=1\r|[m.x] # c\r|a = 1\r|"},
        {"toml set-table ['h','/u:\\'x\\''] a='=' b=[1] -", "", "[h.'/u:\\'x\\'']|a = '='|b = [1]|"},
        {setKey, "[t]|key='a'\t# note|b = 2|", "[t]|key = 'new'\t# note|b = 2|"},
        {setKey, "[t]|  'key' = [ 1,|2 ]\r|", "[t]|  key = 'new'\r|"},
        {setKey, "[t]", "[t]|key = 'new'|"},
        {setKey, "[t]|a = 1||[u]|key = 2|", "[t]|a = 1||key = 'new'|[u]|key = 2|"},
        {setKey, "[t]|a = 1||  # of u|  [[u]]|", "[t]|a = 1||key = 'new'|  # of u|  [[u]]|"},
        {"toml set-key [] a.b 2 -", "[[t]]|[[t]]|", "'a.b' = 2|[[t]]|[[t]]|"},
        {removeTable, "a = 1|||[t]|x = 1|[u]|", "a = 1||[u]|"},
        {removeTable, "a = 1| \t\r|[t]|", "a = 1|"},
        {removeTable, "[t]|# x|x = 1|||[u]|", "[u]|"},
        {removeTable, "# of t|[t]|x = 1||  # of u|  [u]|", "# of t|  # of u|  [u]|"},
        {removeTable, "[u]||[t]|# of t|", "[u]|"},
        {removeTable, "|[t]|x = 1||[u]|", "[u]|"},
        {removeTable, BOM "|[t]|[u]|", BOM "[u]|"},
        {removeTable, "a = 1||  [t]|  x = 1|  [u]|", "a = 1||  [u]|"},
    };
    expectRuns(0, table);
}

TEST(LarkmoorEdit, RefusesInWords) {
    const Case failures[] = {
        {"json scan /nowhere", "", "/nowhere: No such file or directory|"},
        {"json set ['a'] k 1 -", "{'b':1,'a':{},'b':2}", "the name 'b' appears twice in one object (at byte 14)|"},
        {"json set [] k {'a':1,'a':2} -", "{}", "the name 'a' appears twice in one object (at byte 7)|"},
        {"toml remove-table ['t.u','v'] -", "a = 1|", "['t.u'.v] is not in this file|"},
        {"toml set-table ['t'] a=1 -", "a = 1\r|b = 2\r", "there are bytes after the end of a value (at byte 13)|"},
        {"toml set-key ['t'] key [1 -", "[t]|key = 1|", "a value was left open at the end of the file (at byte 10)|"},
        {"toml remove-key ['t'] k -", "[t]|", "k is not in [t]|"},
        {"toml set-table ['t'] a=1 -", "[[t]]|", "the table [[t]] is an array of tables"},
    };
    expectRuns(1, failures);
}

}  // namespace
}  // namespace larkmoor::testing

// The editor as people meet it: the real tool over real files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "Support/RunTool.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;
using testing::runTool;
using testing::ToolRun;

ToolRun edit(std::vector<std::string> words, std::string_view input = {}) {
    words.insert(words.begin(), LARKMOOR_EDIT);
    return runTool(words, input);
}

void write(const std::string& path, std::string_view text) { std::ofstream{path, std::ios::binary} << text; }

std::string contents(const fs::path& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

std::vector<std::string> names(const fs::path& folder) {
    std::vector<std::string> all;
    for (const auto& entry : fs::directory_iterator(folder)) all.push_back(entry.path().filename());
    std::ranges::sort(all);
    return all;
}

struct Case {
    std::vector<std::string> words;
    std::string_view input;
    int status;
    std::string_view out, err;  ///< of standard error, what it begins with
};

void expectRuns(std::span<const Case> table) {
    for (const Case& row : table) {
        const ToolRun run = edit(row.words, row.input);
        const std::string shown = ::testing::PrintToString(row.words);
        EXPECT_EQ(run.status, row.status) << shown;
        EXPECT_EQ(run.out, row.out) << shown;
        EXPECT_TRUE(run.err.starts_with(row.err)) << shown << ": " << run.err;
        EXPECT_EQ(run.err.empty(), row.status == 0) << shown << ": " << run.err;
    }
}

TEST(LarkmoorEdit, FiltersJSON) {
    const Case table[] = {
        {{"json", "scan", "-"}, "{\"a\":1}", 0, "", ""},
        {{"json", "scan", "-"}, "{\"a\":1,}", 1, "", "a member name was expected (at byte 7)\n"},
        {{"json", "scan", "-"}, "{} // c", 1, "", "there are bytes after the top-level value (at byte 3)\n"},
        {{"json", "scan", "--comments", "-"}, "{} // c", 0, "", ""},
        {{"json", "set", "[]", "b", "2", "-"}, "{\n\t\"a\": 1\n}\n", 0, "{\n\t\"a\": 1,\n\t\"b\": 2\n}\n", ""},
        {{"json", "set", R"(["h",0])", "c d", R"({"x":[true,"y"]})", "-"},
         R"({"h":[{}]})",
         0,
         R"({"h":[{"c d":{"x":[true,"y"]}}]})",
         ""},
        {{"json", "set", "--comments", "[]", "b", "-2", "-"},
         "{\r\n  \"a\": 1 // c\r\n}",
         0,
         "{\r\n  \"a\": 1,\r\n  \"b\": -2 // c\r\n}",
         ""},
        {{"json", "remove", "[]", "a", "-"}, "{ \"a\": 1, \"b\": 2 }", 0, "{ \"b\": 2 }", ""},
        {{"json", "append", R"(["a"])", "\"x\"", "-"}, R"({"a": [1, 2]})", 0, R"({"a": [1, 2, "x"]})", ""},
        {{"json", "remove-element", "[]", "1", "-"}, "[1, 2, 3]", 0, "[1, 3]", ""},
        {{"json", "set", "--", "[]", "--comments", "1", "-"}, "{}", 0, R"({"--comments":1})", ""},
    };
    expectRuns(table);
}

TEST(LarkmoorEdit, FiltersTOML) {
    const Case table[] = {
        {{"toml", "scan", "-"}, "a = 1\n", 0, "", ""},
        {{"toml", "scan", "-"}, "a = [1", 1, "", "a value was left open at the end of the file (at byte 4)\n"},
        {{"toml", "set-table", R"(["m","x.y"])", "a=\"=\"", "b=[1]", "-"},
         "k = 1",
         0,
         "k = 1\n\n[m.\"x.y\"]\na = \"=\"\nb = [1]\n",
         ""},
        {{"toml", "set-key", R"(["t"])", "k", "2", "-"}, "[t]\r\nk = 1 # c\r\n", 0, "[t]\r\nk = 2 # c\r\n", ""},
        {{"toml", "set-key", "[]", "k", "2", "-"}, "[[t]]\n[[t]]\n", 0, "k = 2\n[[t]]\n[[t]]\n", ""},
        {{"toml", "remove-key", R"(["t"])", "k", "-"}, "[t]\nj = 1\nk = 1 # c\n", 0, "[t]\nj = 1\n", ""},
        {{"toml", "remove-table", R"(["t"])", "-"}, "a = 1\n\n[t]\nk = 1\n", 0, "a = 1\n", ""},
        {{"toml", "remove-table", R"(["t"])", "-"}, "a = 1\n", 1, "", "[t] is not in this file\n"},
        {{"toml", "set-key", R"(["t"])", "k", "2", "-"}, "a = 1\n", 1, "", "[t] is not in this file\n"},
        {{"toml", "remove-key", R"(["t"])", "k", "-"}, "[t]\n", 1, "", "k is not in [t]\n"},
        {{"toml", "set-table", R"(["t"])", "a=1", "-"}, "[[t]]\n", 1, "", "the table [[t]] is an array of tables"},
    };
    expectRuns(table);
}

TEST(LarkmoorEdit, RefusesInWords) {
    const Case table[] = {
        {{"json", "set", "[]", "k", "1", "-"}, "{\"a\":1,}", 1, "", "a member name was expected (at byte 7)\n"},
        {{"json", "set", R"(["a","b"])", "k", "1", "-"}, "{\"a\":{}}", 1, "", "a.b is not an object\n"},
        {{"json", "remove", "[]", "k", "-"}, "{}", 1, "", "k is not in the top-level value\n"},
        {{"json", "append", "[]", "1", "-"}, "{}", 1, "", "the top-level value is not an array\n"},
        {{"json", "append", "[]", "1", "-"},
         "[] // c",
         1,
         "",
         "there are bytes after the top-level value (at byte 3)\n"},
        {{"json", "remove-element", "[]", "-1", "-"}, "[1]", 1, "", "the top-level value has no element -1\n"},
        {{"json", "set", R"(["a"])", "k", "1", "-"},
         R"({"b":1,"a":{},"b":2})",
         1,
         "",
         "the name \"b\" appears twice in one object (at byte 14)\n"},
        {{"json", "set", "[]", "k", R"({"a":1,"a":2})", "-"},
         "{}",
         1,
         "",
         "the name \"a\" appears twice in one object (at byte 7)\n"},
        {{"json", "scan", "/nowhere/at all"}, "", 1, "", "/nowhere/at all: No such file or directory\n"},
    };
    expectRuns(table);
}

TEST(LarkmoorEdit, TellsWrongUsageApart) {
    const Case table[] = {
        {{}, "", 2, "", "usage:\n"},
        {{"json"}, "", 2, "", "usage:\n"},
        {{"yaml", "scan", "-"}, "", 2, "", "there is no verb yaml scan\n"},
        {{"json", "set", "[]", "k", "-"}, "{}", 2, "", "json set does not take 3 arguments\n"},
        {{"json", "scan", "-", "-"}, "{}", 2, "", "json scan does not take 2 arguments\n"},
        {{"toml", "set-table", R"(["t"])", "-"}, "", 2, "", "toml set-table does not take 2 arguments\n"},
        {{"json", "scan", "--loose", "-"}, "{}", 2, "", "there is no option --loose\n"},
        {{"json", "append", "--comments", "[]", "1", "-"}, "[]", 2, "", "--comments does not go with append\n"},
        {{"json", "scan", "--in-place", "x"}, "", 2, "", "--in-place does not go with scan\n"},
        {{"json", "set", "--in-place", "[]", "k", "1", "-"}, "{}", 2, "", "--in-place wants a file"},
        {{"json", "set", "{}", "k", "1", "-"}, "{}", 2, "", "{} is no path"},
        {{"json", "set", "[1.5]", "k", "1", "-"}, "{}", 2, "", "[1.5] is no path"},
        {{"json", "set", "[\"a\"", "k", "1", "-"}, "{}", 2, "", "[\"a\" is no path"},
        {{"json", "remove-element", "[]", "one", "-"}, "[1]", 2, "", "one is no index"},
        {{"json", "set", "[]", "k", "{", "-"}, "{}", 2, "", "{ is no JSON: a member name was expected (at byte 1)\n"},
        {{"json", "set", "[]", "k", "null", "-"}, "{}", 2, "", "null is no value to be written"},
        {{"json", "append", "[]", "[1.5]", "-"}, "[]", 2, "", "1.5 is no value to be written"},
        {{"json", "set", "[]", "k", "9223372036854775808", "-"},
         "{}",
         2,
         "",
         "9223372036854775808 is no value to be written"},
        {{"toml", "set-table", "[0]", "a=1", "-"}, "", 2, "", "[0] is no table's name"},
        {{"toml", "set-table", R"(["t"])", "a", "-"}, "", 2, "", "a is no KEY=VALUE"},
    };
    expectRuns(table);
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
    const testing::TemporaryFolder folder;
    write(folder / "a", "{}");
    const ToolRun inPlace = inShell(R"(exec "$0" json set --in-place [] a 1 ')" + (folder / "a") + "' >/dev/full");
    EXPECT_EQ(inPlace.status, 0);
    EXPECT_EQ(inPlace.err, "standard output: No space left on device\n");
    EXPECT_EQ(contents(folder / "a"), R"({"a":1})");
}

TEST(LarkmoorEdit, CommitsInPlaceBesideACopy) {
    const testing::TemporaryFolder folder;
    fs::create_directory(folder / "dotfiles");
    const std::string real = folder / "dotfiles/settings.json", link = folder / "settings.json";
    const std::string before = "{\n    \"a\": 1 // mine\n}\n";
    write(real, before);
    fs::permissions(real, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink(real, link);

    const ToolRun run = edit({"json", "set", "--comments", "--in-place", "[]", "b", "[]", link});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(contents(real), "{\n    \"a\": 1,\n    \"b\": [] // mine\n}\n");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(fs::status(real).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    const auto left = names(folder / "dotfiles");
    ASSERT_EQ(left.size(), 2U);
    EXPECT_TRUE(left[1].starts_with("settings.json.larkmoor-backup-")) << left[1];
    EXPECT_EQ(contents(folder / ("dotfiles/" + left[1])), before);
    EXPECT_EQ(run.out, (folder / ("dotfiles/" + left[1])) + ": a copy of the file was made here first\n");

    const ToolRun same = edit({"json", "set", "--comments", "--in-place", "[]", "b", "[]", link});
    EXPECT_EQ(same.status, 0);
    EXPECT_EQ(same.out, "");
    EXPECT_EQ(names(folder / "dotfiles"), left);
}

TEST(LarkmoorEdit, LeavesTheFileAloneWhenItRefuses) {
    ASSERT_NE(::geteuid(), 0U) << "root may write everywhere: run the tests as an unprivileged user";
    const testing::TemporaryFolder folder;
    const std::string file = folder / "settings.json";
    const std::string before = R"({"a":1})";
    write(file, before);
    const auto stamp = fs::last_write_time(file);

    EXPECT_EQ(edit({"json", "remove", "--in-place", "[]", "b", file}).status, 1);
    EXPECT_EQ(edit({"json", "set", "--in-place", "[]", "b", "null", file}).status, 2);
    EXPECT_EQ(edit({"json", "set", "--in-place", "[]", "b", file}).status, 2);
    fs::permissions(folder.path(), fs::perms::owner_read | fs::perms::owner_exec);
    const ToolRun locked = edit({"json", "set", "--in-place", "[]", "b", "1", file});
    EXPECT_EQ(locked.status, 1);
    EXPECT_EQ(locked.out, "");
    EXPECT_EQ(locked.err,
              folder.path().string() + ": this folder cannot be written by this user, so nothing was written\n");
    fs::permissions(folder.path(), fs::perms::owner_all);

    EXPECT_EQ(contents(file), before);
    EXPECT_EQ(fs::last_write_time(file), stamp);
    EXPECT_EQ(names(folder.path()), std::vector<std::string>{"settings.json"});
}

}  // namespace
}  // namespace larkmoor

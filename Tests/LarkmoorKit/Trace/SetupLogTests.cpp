// The story of the first run, in its file.
#include "LarkmoorKit/Trace/SetupLog.h"

#include <sys/stat.h>

#include <sstream>
#include <thread>

#include "LarkmoorBase/Files.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor::testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(SetupLog, StampsInUTCToTheSecond) {
    ::setenv("TZ", "JST-9", 1);
    ::tzset();
    const std::pair<milliseconds, std::string_view> table[] = {
        {milliseconds{999}, "1970-01-01T00:00:00Z x\n"},
        {milliseconds{-1}, "1969-12-31T23:59:59Z x\n"},
        {seconds{1709210096}, "2024-02-29T12:34:56Z x\n"},
    };
    for (const auto& [since, line] : table) EXPECT_EQ(SetupLog::stamped(SetupLog::Time{since}, "x"), line);
}

TEST(SetupLog, WhatItQuotesStaysInOneLine) {
    const std::string stamp = "1970-01-01T00:00:00Z ", full((64 << 10) - 1, 'x');
    for (const auto& [text, want] : {
             std::pair{std::string{"no\n1970-01-01T00:00:00Z forged\x1b[1m\u0085\u2028 → ok"},
                       std::string{"no\uFFFD1970-01-01T00:00:00Z forged\uFFFD[1m\uFFFD\uFFFD → ok"}},
             std::pair{full + "x", full + "x"},
             std::pair{full + "é", full + "…"},
             std::pair{full + "\x80\x80\x80\x80", full.substr(1) + "…"},
         })
        EXPECT_EQ(SetupLog::stamped({}, text), stamp + want + "\n");
}

/// The home folder is this test's.
class SetupLogTest : public ::testing::Test {
  protected:
    SetupLogTest() {
        ::setenv("HOME", home.path().c_str(), 1);
        std::filesystem::create_directories(home.path() / "Library/Logs");
    }
    ~SetupLogTest() override { SetupLog::flush(); }

    static void say(const char* words) {
        SetupLog::line(words);
        SetupLog::flush();
    }
    /// The lines without their stamps.
    static std::vector<std::string> linesOf(const std::string& path) {
        const auto bytes = Files::read(path);
        std::istringstream lines{bytes ? text(*bytes) : ""};
        std::vector<std::string> words;
        constexpr std::size_t stamp = std::string_view{"1970-01-01T00:00:00Z "}.size();
        for (std::string line; std::getline(lines, line);) words.push_back(line.substr(std::min(stamp, line.size())));
        return words;
    }

    TemporaryFolder home;
    std::string file = home / "Library/Logs/larkmoor-journey.log";
};

TEST_F(SetupLogTest, LinesOfManyThreadsStayWholeInTheOrderOfTheCallsWithTheirTime) {
    const auto begun = std::chrono::floor<seconds>(std::chrono::system_clock::now());
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            for (int number = 0; number < 50; ++number) SetupLog::line(fmt::format("{} {:02}", thread, number));
        });
    }
    for (std::thread& thread : threads) thread.join();
    const auto ended = std::chrono::system_clock::now();
    SetupLog::flush();
    EXPECT_EQ(SetupLog::path(home.path().string()), file);
    const auto words = linesOf(file);
    ASSERT_EQ(words.size(), 200U);
    for (int thread = 0; thread < 4; ++thread) {
        std::vector<std::string> own;
        std::ranges::copy_if(words, std::back_inserter(own),
                             [&](const std::string& line) { return line.starts_with(std::to_string(thread)); });
        EXPECT_EQ(own.size(), 50U);
        EXPECT_TRUE(std::ranges::is_sorted(own)) << thread;
    }
    const std::string whole = text(*Files::read(file));
    EXPECT_GE(whole.substr(0, 20), SetupLog::stamped(begun, "").substr(0, 20));
    EXPECT_LE(whole.substr(whole.rfind('Z') - 19, 20), SetupLog::stamped(ended, "").substr(0, 20));
}

TEST_F(SetupLogTest, IsPrivateAndMayBeMovedBetweenLines) {
    const mode_t before = ::umask(0);
    say("one");
    ::umask(before);
    EXPECT_EQ(Files::permissions(file), 0600);
    say("two");
    std::filesystem::rename(file, home / "kept.log");
    say("three");
    EXPECT_EQ(linesOf(home / "kept.log"), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(linesOf(file), std::vector<std::string>{"three"});
}

TEST_F(SetupLogTest, WhatCannotBeWrittenVanishes) {
    say("not UTF-8: \xff");
    EXPECT_FALSE(Files::exists(file)) << "not even an empty file";
    std::filesystem::remove_all(home.path() / "Library/Logs");
    say("no folder");
    EXPECT_FALSE(Files::exists(home / "Library/Logs"));
    std::filesystem::create_directories(file);
    say("a folder in its place");
    std::filesystem::remove(file);
    say("well again");
    EXPECT_EQ(linesOf(file), std::vector<std::string>{"well again"});
}

}  // namespace
}  // namespace larkmoor::testing

// Process start times, the same for every process that asks.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <stdexcept>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorPlatform/Process.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor::testing {
namespace {

using Clock = std::chrono::system_clock;

struct Answer {
    bool isKnown = false;
    Clock::time_point first, second;
    bool operator==(const Answer&) const = default;
};

struct Asking {
    pid_t child = 0;
    int answer = -1;
};

/// A new process asks twice about `process`, as soon as the writing end of `start` is closed.
Asking ask(pid_t process, const std::string& runtime, std::array<int, 2> start = {-1, -1}) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
    const pid_t child = ::fork();
    if (child == 0) {
        ::setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        ::close(start[1]);
        char none = 0;
        while (::read(start[0], &none, 1) > 0) {
        }
        const auto first = ProcessTable::start(process);
        const auto second = ProcessTable::start(process);
        const Answer answer{first && second, first.value_or(Clock::time_point{}), second.value_or(Clock::time_point{})};
        ::_exit(::write(ends[1], &answer, sizeof answer) == sizeof answer ? 0 : 1);
    }
    ::close(ends[1]);
    return {.child = child, .answer = ends[0]};
}

Answer answer(const Asking& asking) {
    Answer answer;
    const bool isRead = ::read(asking.answer, &answer, sizeof answer) == sizeof answer;
    ::close(asking.answer);
    ::waitpid(asking.child, nullptr, 0);
    if (!isRead) throw std::runtime_error("no answer from the child");
    return answer;
}

struct ProcessTableTest : ::testing::Test {
    void writeBase(const std::string& text) {
        ASSERT_TRUE(Files::makeFolders(runtime / "larkmoor", 0700));
        ASSERT_TRUE(Files::replace(base, asBytes(text), 0600));
    }
    Answer ask(pid_t process) { return answer(testing::ask(process, runtime.path().string())); }
    Answer ask(pid_t process, const std::string& otherRuntime) { return answer(testing::ask(process, otherRuntime)); }

    TemporaryFolder runtime;
    const std::string base = runtime / "larkmoor/boot-base";
    const std::string boot{trimmed(text(*Files::read("/proc/sys/kernel/random/boot_id")))};
};

TEST_F(ProcessTableTest, TheFirstAnswerOfABootHoldsForAllProcesses) {
    const Answer one = ask(::getpid());
    ASSERT_TRUE(one.isKnown);
    EXPECT_EQ(one.first, one.second);
    EXPECT_EQ(ask(::getpid()), one);
    EXPECT_LE(one.first, Clock::now());
    EXPECT_GT(one.first, Clock::now() - std::chrono::hours{1});
    EXPECT_TRUE(text(*Files::read(base)).starts_with(boot + " "));
    EXPECT_EQ(Files::permissions(base), 0600);
    EXPECT_EQ(Files::permissions(runtime / "larkmoor"), 0700);
    // Even a base of a clock that was wrong.
    writeBase(boot + " 1000000000000\n");
    EXPECT_LT(ask(1).first, Clock::time_point{std::chrono::microseconds{1000000000000}} + std::chrono::hours{24 * 365});
}

TEST_F(ProcessTableTest, ADamagedOrOlderBaseIsReplacedOnceByAllWhoComeAtOnce) {
    const Clock::time_point truth = ask(::getpid(), runtime / "none").first;
    for (const std::string& words : {std::string{"00000000-0000-0000-0000-000000000000 1000000000000\n"},
                                     std::string{"nonsense"}, std::string{}, boot, boot + " 12x\n"}) {
        SCOPED_TRACE(words);
        writeBase(words);
        std::array<int, 2> start{};
        ASSERT_EQ(::pipe(start.data()), 0);
        std::vector<Asking> askers;
        for (int asker = 0; asker < 6; ++asker)
            askers.push_back(testing::ask(::getpid(), runtime.path().string(), start));
        ::close(start[1]);
        ::close(start[0]);
        std::set<Clock::time_point> answers{ask(::getpid()).first};
        for (const Asking& asker : askers) answers.insert(answer(asker).first);
        ASSERT_EQ(answers.size(), 1U);
        EXPECT_LT(std::chrono::abs(*answers.begin() - truth), std::chrono::minutes{1});
        EXPECT_NE(text(*Files::read(base)), words);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator{runtime / "larkmoor"}, {}), 1) << "no draft stays";
    }
}

TEST_F(ProcessTableTest, WorksWithoutARuntimeFolderAndKnowsNoDeadProcess) {
    EXPECT_TRUE(ask(::getpid(), "").isKnown);
    EXPECT_TRUE(ask(::getpid(), runtime / "file/none").isKnown);
    const pid_t gone = ::fork();
    if (gone == 0) ::_exit(0);
    ::waitpid(gone, nullptr, 0);
    EXPECT_FALSE(ask(gone).isKnown);
}

}  // namespace
}  // namespace larkmoor::testing

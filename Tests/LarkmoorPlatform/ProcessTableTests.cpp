// When a process began, told alike by all who ask.
#include "LarkmoorPlatform/ProcessTable.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <stdexcept>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Text.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor::testing {
namespace {

using Clock = std::chrono::system_clock;

struct Told {
    bool isKnown = false;
    Clock::time_point first, second;
    bool operator==(const Told&) const = default;
};

struct Asking {
    pid_t child = 0;
    int answer = -1;
};

/// A process that never asked before asks twice about `process`, as soon as the writing end of `start` is closed.
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
        const Told told{first && second, first.value_or(Clock::time_point{}), second.value_or(Clock::time_point{})};
        ::_exit(::write(ends[1], &told, sizeof told) == sizeof told ? 0 : 1);
    }
    ::close(ends[1]);
    return {.child = child, .answer = ends[0]};
}

Told answer(const Asking& asking) {
    Told told;
    const bool isRead = ::read(asking.answer, &told, sizeof told) == sizeof told;
    ::close(asking.answer);
    ::waitpid(asking.child, nullptr, 0);
    if (!isRead) throw std::runtime_error("no word from the child");
    return told;
}

Told askedAnew(pid_t process, const std::string& runtime) { return answer(ask(process, runtime)); }

std::string bootID() { return std::string{trimmed(text(*Files::read("/proc/sys/kernel/random/boot_id")))}; }

class ProcessTableTest : public ::testing::Test {
  protected:
    void plant(const std::string& words) {
        ASSERT_TRUE(Files::makeFolders(runtime / "larkmoor", 0700));
        ASSERT_TRUE(Files::replace(base, asBytes(words), 0600));
    }

    TemporaryFolder runtime;
    std::string base = runtime / "larkmoor/boot-base";
};

TEST_F(ProcessTableTest, TwoCallsAndTwoProcessesAgree) {
    const Told one = askedAnew(::getpid(), runtime.path().string());
    ASSERT_TRUE(one.isKnown);
    EXPECT_EQ(one.first, one.second);
    EXPECT_EQ(askedAnew(::getpid(), runtime.path().string()), one);
    EXPECT_LE(one.first, Clock::now());
    EXPECT_GT(one.first, Clock::now() - std::chrono::hours{1});
    EXPECT_TRUE(text(*Files::read(base)).starts_with(bootID() + " "));
    EXPECT_EQ(Files::permissions(base), 0600);
    EXPECT_EQ(Files::permissions(runtime / "larkmoor"), 0700);
}

TEST_F(ProcessTableTest, TheBaseOfThisBootHoldsWhateverTheClockSays) {
    plant(bootID() + " 1000000000000\n");
    const Told told = askedAnew(1, runtime.path().string());
    ASSERT_TRUE(told.isKnown);
    EXPECT_LT(told.first, Clock::time_point{std::chrono::microseconds{1000000000000}} + std::chrono::hours{24 * 365});
}

TEST_F(ProcessTableTest, AnythingElseMakesWay) {
    const Clock::time_point truth = askedAnew(::getpid(), runtime / "none").first;
    for (const std::string& words : {std::string{"00000000-0000-0000-0000-000000000000 1000000000000\n"},
                                     std::string{"nonsense"}, std::string{}, bootID(), bootID() + " 12x\n"}) {
        plant(words);
        const Told told = askedAnew(::getpid(), runtime.path().string());
        EXPECT_LT(std::chrono::abs(told.first - truth), std::chrono::minutes{1}) << words;
        EXPECT_NE(text(*Files::read(base)), words);
        EXPECT_EQ(askedAnew(::getpid(), runtime.path().string()), told) << words;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator{runtime / "larkmoor"}, {}), 1) << "no draft stays";
    }
}

TEST_F(ProcessTableTest, AllThatComeAtOnceAgree) {
    for (int round = 0; round < 10; ++round) {
        plant("of another boot");
        std::array<int, 2> start{};
        ASSERT_EQ(::pipe(start.data()), 0);
        std::vector<Asking> askers;
        for (int asker = 0; asker < 6; ++asker) askers.push_back(ask(::getpid(), runtime.path().string(), start));
        ::close(start[1]);
        ::close(start[0]);
        std::set<Clock::time_point> told;
        for (Asking& asker : askers) told.insert(answer(asker).first);
        ASSERT_EQ(told.size(), 1U) << "round " << round;
    }
}

TEST_F(ProcessTableTest, WithoutARuntimeFolderThereIsStillAnAnswer) {
    EXPECT_TRUE(askedAnew(::getpid(), "").isKnown);
    EXPECT_TRUE(askedAnew(::getpid(), runtime / "file/none").isKnown);
}

TEST_F(ProcessTableTest, AProcessThatIsNotThereHasNone) {
    const pid_t gone = ::fork();
    if (gone == 0) ::_exit(0);
    ::waitpid(gone, nullptr, 0);
    EXPECT_FALSE(askedAnew(gone, runtime.path().string()).isKnown);
}

}  // namespace
}  // namespace larkmoor::testing

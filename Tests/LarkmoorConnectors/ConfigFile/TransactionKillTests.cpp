// A commit of two files that is killed with signal 9 at each of its system calls.
#include <set>

#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"
#include "LarkmoorConnectors/ConfigFile/Transaction.h"
#include "Support/KilledAtCall.h"

namespace larkmoor::testing {
namespace {

constexpr std::string_view oldFirst = "the first as it was", newFirst = "the first as it is to be";
constexpr std::string_view oldSecond = "the second as it was", newSecond = "the second as it is to be";
// One more than is kept, so that a commit which prunes too early is seen to.
constexpr std::string_view older[] = {"20200101-000000", "20200102-000000", "20200103-000000"};
constexpr const char* copyOfFirst = "first.larkmoor-backup-" MOMENT;
constexpr const char* copyOfSecond = "second.larkmoor-backup-" MOMENT;

/// What the disk may look like when the commit dies. Each file has its old bytes or its new ones, whole, and its
/// permissions. A copy is made by opening it and then filling it, so one may be cut short; but no file changes before
/// all copies are whole, and no older copy goes before all files have changed. Of temporary files there is one at most.
void expectWhole(const ConfigFolder& folder) {
    const auto first = folder.read("first"), second = folder.read("second");
    EXPECT_TRUE(first == oldFirst || first == newFirst) << first.value_or("(none)");
    EXPECT_TRUE(second == oldSecond || second == newSecond) << second.value_or("(none)");
    EXPECT_EQ(folder.mode("first"), 0600U);
    EXPECT_EQ(folder.mode("second"), 0644U);
    EXPECT_TRUE(first == newFirst || second == oldSecond) << "the second file changed before the first";
    if (first == newFirst) {
        EXPECT_EQ(folder.read(copyOfFirst), oldFirst);
        EXPECT_EQ(folder.read(copyOfSecond), oldSecond);
    }
    EXPECT_TRUE(oldFirst.starts_with(folder.read(copyOfFirst).value_or("")));
    EXPECT_TRUE(oldSecond.starts_with(folder.read(copyOfSecond).value_or("")));

    int temporary = 0, olderLeft = 0;
    for (const auto& [name, text] : folder.files()) {
        if (name.starts_with(".")) ++temporary;
        if (name.starts_with(".first")) EXPECT_EQ(folder.mode(name), 0600U) << "a secret lies open";
        if (text == "older") ++olderLeft;
    }
    EXPECT_LE(temporary, 1);
    if (second == oldSecond) EXPECT_EQ(olderLeft, 2 * std::ssize(older));
}

TEST(TransactionKill, LeavesEveryFileOldOrNewAtEverySystemCall) {
    std::set<std::pair<bool, bool>> seen;  // which of the files were new
    bool halfACopy = false;
    int number = 1;
    for (bool killed = true; killed; ++number) {
        const ConfigFolder folder;
        folder.write("first", oldFirst, 0600);
        folder.write("second", oldSecond, 0644);
        for (const std::string_view stamp : older) {
            for (const char* name : {"first", "second"})
                folder.write(fmt::format("{}.larkmoor-backup-{}", name, stamp), "older");
        }
        const FileChange changes[] = {folder.change("first", newFirst), folder.change("second", newSecond)};

        killed = isKilledAtCall(
            number, [&] { return Transaction::commit(changes, moment).is<TransactionResult::Committed>(); });
        expectWhole(folder);
        ASSERT_FALSE(HasFailure()) << "killed at call " << number;
        seen.emplace(folder.read("first") == newFirst, folder.read("second") == newSecond);
        halfACopy = halfACopy || folder.read(copyOfFirst) == "";
        ASSERT_LT(number, 2000) << "the commit does not end";
    }
    // The tracing looked at the right calls: it met each state that a commit goes through.
    EXPECT_GT(number, 40);
    EXPECT_EQ(seen, (std::set<std::pair<bool, bool>>{{false, false}, {true, false}, {true, true}}));
    EXPECT_TRUE(halfACopy);
}

}  // namespace
}  // namespace larkmoor::testing

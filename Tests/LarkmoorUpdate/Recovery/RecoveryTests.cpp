// What the latch, the apply logs and the sizes of backups say.
#include "LarkmoorUpdate/Recovery/StandingLatch.h"
#include "LarkmoorUpdate/Recovery/VouchedBackup.h"

namespace larkmoor {
namespace {

using Window = VouchedBackup::Window;

TEST(StandingLatch, IsLiveOnlyWhileThatVeryProcessRuns) {
    const auto judge = [](std::string_view text) {
        return StandingLatch::judge(text, [](std::int32_t pid) -> std::optional<std::chrono::system_clock::time_point> {
            if (pid != 12) return std::nullopt;
            return std::chrono::system_clock::time_point{std::chrono::microseconds{5000000}};
        });
    };
    const StandingLatch live = StandingLatch::HeldByLiveMigrator{12};
    EXPECT_EQ(judge("pid 12\nstarted-at-us 5000000\n"), live);
    EXPECT_EQ(judge("noise\npid 3\npid   12 \nmore words here\nstarted-at-us 5000000"), live);
    EXPECT_EQ(judge("pid 12\nstarted-at-us 5000001\n"), StandingLatch{StandingLatch::Stale{12}});
    EXPECT_EQ(judge("pid 13\nstarted-at-us 5000000\n"), StandingLatch{StandingLatch::Stale{13}});
    for (const char* broken : {"", "pid 12", "started-at-us 5", "pid 0\nstarted-at-us 5", "pid -4\nstarted-at-us 5",
                               "pid 12\nstarted-at-us 0", "pid 12x\nstarted-at-us 5000000",
                               "pid 4294967308\nstarted-at-us 5000000", "pid 12\nstarted-at-us 5000000\npid nobody"}) {
        EXPECT_EQ(judge(broken), StandingLatch{StandingLatch::Stale{}}) << broken;
    }
}

TEST(StandingLatch, NamesAProcessByItsWholeNumber) {
    EXPECT_TRUE(StandingLatch::log({"x", "LATCH   raised · pid 12"}, 12));
    EXPECT_TRUE(StandingLatch::log({"LATCH   raised · pid 123 · pid 12 · more"}, 12));
    EXPECT_FALSE(StandingLatch::log({"LATCH   raised · pid 123"}, 12));
    EXPECT_FALSE(StandingLatch::log({"latch   raised · pid 12", "LATCH raised · pid 12"}, 12));
    EXPECT_EQ(StandingLatch::pid({"LATCH   raised · pid 7", "LATCH   raised · pid 12 · more", "LATCH   · pid x"}), 12);
    EXPECT_EQ(StandingLatch::pid({"latch   raised · pid 12", "LATCH   raised"}), std::nullopt);
}

TEST(VouchedBackup, IsTheLastThatWasVerified) {
    using Backup = std::optional<VouchedBackup>;
    const auto read = [](std::vector<std::string> lines) { return VouchedBackup::read(lines); };
    const std::string verified = "BACKUP  verified · integrity ok · 1.2 GB ";
    EXPECT_EQ(read({"BACKUP  s → /a", "BACKUP  s → /b ", verified}), (Backup{{"/b", "1.2 GB"}}));
    EXPECT_EQ(read({"BACKUP  s → /a", verified, "BACKUP  s → /b"}), (Backup{{"/a", "1.2 GB"}}));
    EXPECT_EQ(read({"BACKUP  s → /a", verified, "BACKUP  s → /b", "BACKUP  verified · ok"}), (Backup{{"/b", {}}}));
    EXPECT_EQ(read({"BACKUP  s → /a", "BACKUP  verified · ok · "}), (Backup{{"/a", {}}}));
    EXPECT_EQ(read({"BACKUP  s → /a", "BACKUP  s →  ", verified}), Backup{});
    EXPECT_EQ(read({"BACKUP  /x → y/s → /x → y/a", verified}), (Backup{{"/x → y/a", "1.2 GB"}}));
    EXPECT_EQ(read({std::string{"BACKUP  s → /a\0b", 18}, verified}), Backup{});
    EXPECT_EQ(read({"BACKUP s → /a", verified}), Backup{});
    EXPECT_EQ(read({verified, "BACKUP  s → /a"}), Backup{});
}

TEST(VouchedBackup, MayHaveTheSizesFromWhichItsOwnWasRounded) {
    const auto bytes = [](const char* stated) { return VouchedBackup{.path = "/a", .statedSize = stated}.bytes(); };
    EXPECT_EQ(bytes("512 B"), (Window{512, 512}));
    EXPECT_EQ(bytes("1.2 GB"), (Window{1283121479, 1293858898}));
    EXPECT_EQ(bytes("0.02 MB"), (Window{0, 73401}));
    for (const char* unreadable :
         {"", "12", "MB", "1.5 B", "-1 MB", "inf MB", "nan GB", "1 KB", "1 MB more", "1,2 GB"}) {
        EXPECT_EQ(bytes(unreadable), std::nullopt) << unreadable;
    }
    EXPECT_TRUE(bytes("1e300 GB")->contains(std::numeric_limits<std::int64_t>::max()));
}

}  // namespace
}  // namespace larkmoor

// The copies beside a file, and where the file itself lies.
#include "LarkmoorConnectors/ConfigFile/AtomicWrite.h"

#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Files = std::map<std::string, std::string>;

TEST(Backup, IsNamedByTheLocalTimeAndTakesNoNameThatIsTaken) {
    const ConfigFolder folder;
    folder.write("a", "bytes");
    folder.makeFolder("a.larkmoor-backup-" MOMENT "-02");
    folder.link("a.larkmoor-backup-" MOMENT "-03", "nowhere");
    const std::pair<const char*, std::string> table[] = {
        {"UTC", MOMENT}, {"EST5", "20240131-185959"}, {"XXX-5:30", "20240201-052959"}, {"UTC", MOMENT "-04"}};
    for (const auto& [zone, stamp] : table) {
        ::setenv("TZ", zone, 1);
        EXPECT_EQ(Backup::make(folder.path("a"), moment + std::chrono::milliseconds{999}),
                  folder.path("a.larkmoor-backup-" + stamp))
            << zone;
    }
    const auto before1970 = std::chrono::system_clock::time_point{} - std::chrono::milliseconds{1};
    EXPECT_EQ(Backup::make(folder.path("a"), before1970), folder.path("a.larkmoor-backup-19691231-235959"));
    EXPECT_EQ(folder.read("nowhere"), std::nullopt);
}

TEST(Backup, ACopyThatDoesNotReadBackIsNone) {
    ASSERT_NE(::geteuid(), 0U) << "root may read everything";
    const ConfigFolder folder;
    folder.write("a", "bytes");
    const mode_t umask = ::umask(0777);
    const auto made = Backup::make(folder.path("a"), moment);
    ::umask(umask);
    ASSERT_FALSE(made);
    EXPECT_EQ(made.error().description(),
              folder.path("a.larkmoor-backup-" MOMENT) + " could not be written: the copy did not match the original");
    EXPECT_EQ(folder.files(), (Files{{"a", "bytes"}}));
}

TEST(Backup, TheNewestTwoSurviveWhateverTheirNames) {
    const ConfigFolder folder;
    folder.makeFolder("a.larkmoor-backup-20250101-000000");  // no copy
    folder.write("a", "");
    for (const char* name : {"b.larkmoor-backup-20230101-000000", "aa.larkmoor-backup-20230101-000000", "a.backup"}) {
        folder.write(name, "");
    }
    std::vector<std::string> made;
    for (int count = 0; count < 101; ++count) made.push_back(*Backup::make(folder.path("a"), moment).value());
    EXPECT_EQ(made.back(), folder.path("a.larkmoor-backup-" MOMENT "-101"));
    EXPECT_EQ(Backup::all(folder.path("a")), made);
    EXPECT_EQ(Backup::prune(folder.path("a")).size(), 99U);
    EXPECT_THAT(Backup::all(folder.path("a")), ElementsAre(made[99], made[100]));
    EXPECT_THAT(Backup::prune(folder.path("a")), IsEmpty());
    EXPECT_THAT(Backup::all(folder.path("none/a")), IsEmpty());
    EXPECT_EQ(folder.files().size(), 6U);
}

TEST(ConfigPath, FollowsLinksAsFarAsTheyLead) {
    const ConfigFolder folder;
    folder.makeFolder("dotfiles");
    folder.write("dotfiles/real", "");
    folder.link("settings", "dotfiles/real");
    folder.link("harness", "dotfiles");
    folder.link("dangling", "dotfiles/none");
    folder.link("twice", folder.path("harness/../dangling"));
    folder.link("lost", "none/x");
    folder.link("circle", "circle");
    struct Case {
        std::string_view given, want;
    };
    const Case table[] = {{"settings", "dotfiles/real"},
                          {"harness/real", "dotfiles/real"},
                          {"harness/./../settings", "dotfiles/real"},
                          {"harness/new", "dotfiles/new"},
                          {"dangling", "dotfiles/none"},
                          {"none/new", "none/new"},
                          {"twice", "dotfiles/none"},
                          {"lost", "none/x"},
                          {"circle", "circle"}};
    for (const Case& row : table)
        EXPECT_EQ(ConfigPath::canonical(folder.path(row.given)), folder.path(row.want)) << row.given;
    EXPECT_EQ(ConfigPath::canonical(folder.path("harness/../none/x")), folder.path("harness/../none/x"));
}

}  // namespace
}  // namespace larkmoor::testing

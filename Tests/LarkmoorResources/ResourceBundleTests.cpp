#include "LarkmoorResources/ResourceBundle.h"

#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using ::testing::ElementsAre;

TEST(ResourceBundleTests, LooksInTheBundlesThenBesideThem) {
    EXPECT_EQ(ResourceBundle::appResources("/a/X.app/Contents/./MacOS/x"), "/a/X.app/Contents/Resources");
    for (const char* elsewhere : {"/a/MacOS/x", "/a/Contents/x", "/a/Contents/MacOS/deep/x", "x", "/"})
        EXPECT_EQ(ResourceBundle::appResources(elsewhere), std::nullopt) << elsewhere;
    EXPECT_THAT(ResourceBundle::roots("/a/X.app/Contents/MacOS/x", "/a/X.app/", "/b/Kit.bundle"),
                ElementsAre("/a/X.app/Contents/Resources", "/b/Kit.bundle/Contents/Resources", "/b", "/a/X.app"));
    EXPECT_THAT(ResourceBundle::roots("/a/build/x", "/a/build", "/a/build/"), ElementsAre("/a/build", "/a"));
}

TEST(ResourceBundleTests, TakesTheFirstFolderOrStopsTheProgram) {
    const testing::TemporaryFolder folder;
    const std::vector<std::string> roots{folder / "a", folder / "b", folder / "c"};
    std::filesystem::create_directories(folder / "b/Kit.bundle");
    std::filesystem::create_directories(folder / "c/Kit.bundle");
    EXPECT_EQ(ResourceBundle::find("Kit", roots), folder / "b/Kit.bundle");
    EXPECT_DEATH(ResourceBundle::require("No", {"/x", "/y"}),
                 "could not load resource bundle No.bundle — tried:\n/x/No.bundle\n/y/No.bundle\n");
}

}  // namespace
}  // namespace larkmoor

// Models in stores on a real disk, moved and deleted.
#include "LarkmoorLocalModels/Store/ModelStore.h"

#include <sys/stat.h>

#include <set>

#include "LarkmoorBase/SHA256.h"
#include "Support/KilledAtCall.h"
#include "Support/SmallDisk.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view gone = "gone", stays = "someone/stays:1";
const std::string own(40'000, 'o'), shared(30'000, 's');

void write(const fs::path& path, std::string_view text) {
    fs::create_directories(path.parent_path());
    std::ofstream{path, std::ios::binary} << text;
}

std::string blob(std::string_view bytes) { return "sha256-" + SHA256::ofBytes(asBytes(bytes)); }

fs::path manifest(const fs::path& store, std::string_view name) { return store / *ModelStore::manifestRelPath(name); }

void writeModel(const fs::path& store, std::string_view name, std::initializer_list<std::string_view> layers) {
    std::string list;
    for (const std::string_view bytes : layers) {
        write(store / "blobs" / blob(bytes), bytes);
        list += fmt::format(R"({}{{"digest":"sha256:{}"}})", list.empty() ? "" : ",", blob(bytes).substr(7));
    }
    write(manifest(store, name), fmt::format(R"({{"config":{{}},"layers":[7,{}]}})", list));
}

/// Whether the manifest names blobs, and each has the bytes that its name says.
bool isUsable(const fs::path& store, std::string_view name) {
    const auto blobs = ModelStore::blobNames(manifest(store, name));
    return !blobs.empty() && std::ranges::all_of(blobs, [&](const std::string& each) {
        return "sha256-" + SHA256::ofFile(store / "blobs" / each).value_or("") == each;
    });
}

/// A root with two models that share a blob, and a store to move to.
struct Stores {
    explicit Stores(const fs::path& targetIn = fs::temp_directory_path()) : targetFolder(targetIn) {
        writeModel(store, gone, {own, shared});
        writeModel(store, stays, {shared, "its own"});
    }
    bool move() const { return ModelStore::moveModel(gone, root.path(), target).has_value(); }

    const TemporaryFolder root, targetFolder;
    const fs::path store = root.path() / "models", target = targetFolder.path() / "naming/store";
    const fs::path source = store / "blobs" / blob(own), placed = target / "blobs" / blob(own);
};

TEST(ModelStore, NamesManifestsOnlyBelowTheStore) {
    using Case = std::pair<std::string_view, const char*>;
    for (const auto& [name, path] :
         {Case{"gemma3:4b", "library/gemma3/4b"}, Case{"a/b/c:1", "b/c/1"}, Case{"x y", "library/x y/latest"},
          Case{"/", nullptr}, Case{"", nullptr}, Case{"x:../../../y", nullptr}, Case{"x:..", nullptr},
          Case{"../x", nullptr}, Case{"a/.", nullptr}, Case{{"x\0y", 3}, nullptr}}) {
        const auto expected = path ? std::optional{fmt::format("manifests/registry.ollama.ai/{}", path)} : std::nullopt;
        EXPECT_EQ(ModelStore::manifestRelPath(name), expected) << name;
    }
    EXPECT_TRUE(ModelStore::manifestRelPath("x:")->ends_with("/latest"));
}

TEST(ModelStore, IsWholeInOneStoreWhereverItIsKilled) {
    const SmallDisk disk;
    if (!disk.path()) GTEST_SKIP() << SmallDisk::absence;
    std::set<std::pair<bool, bool>> seen;
    int number = 1;
    for (bool killed = true; killed; ++number) {
        const Stores stores{disk.path()};
        killed = isKilledAtCall(number, [&] { return stores.move(); });
        seen.emplace(isUsable(stores.store, gone), isUsable(stores.target, gone));
        ASSERT_TRUE(!seen.contains({false, false}) && isUsable(stores.store, stays)) << "killed at call " << number;
        ASSERT_TRUE(stores.move() || !fs::exists(manifest(stores.store, gone))) << "not again after " << number;
        ASSERT_TRUE(isUsable(stores.target, gone) && isUsable(stores.store, stays)) << "then, after " << number;
    }
    EXPECT_EQ(seen, (std::set<std::pair<bool, bool>>{{true, false}, {true, true}, {false, true}}));
}

TEST(ModelStore, TakesWhatIsThereForABlobOnlyIfItIs) {
    const std::pair<const char*, void (*)(const Stores&)> cases[] = {
        {"half of it", [](const Stores& stores) { write(stores.placed, own.substr(9)); }},
        {"as many other bytes", [](const Stores& stores) { write(stores.placed, std::string(own.size(), 'x')); }},
        {"a link to the source", [](const Stores& stores) { fs::create_symlink(stores.source, stores.placed); }},
        {"a link to nothing", [](const Stores& stores) { fs::create_symlink("nothing", stores.placed); }},
        {"the source's folder",
         [](const Stores& stores) {
             fs::remove_all(stores.target / "blobs");
             fs::create_directory_symlink(stores.store / "blobs", stores.target / "blobs");
         }},
        {"the source",
         [](const Stores& stores) {
             fs::remove_all(stores.target);
             fs::create_directory_symlink(stores.store, stores.target);
         }},
    };
    for (const auto& [what, prepare] : cases) {
        const Stores stores;
        fs::create_directories(stores.target / "blobs");
        prepare(stores);
        EXPECT_TRUE(stores.move() && isUsable(stores.target, gone) && isUsable(stores.store, stays)) << what;
    }
}

TEST(ModelStore, KeepsTheBlobsOfEveryManifestThatMayBeAModel) {
    const std::string named = fmt::format(R"({{"layers":[{{"digest":"sha256:{}"}}]}})", blob(own).substr(7));
    const std::tuple<const char*, std::string, bool> cases[] = {
        {"a/b/c/d", named, true},   {"a/b/c/d", named.substr(0, named.size() - 3), true},
        {"a/b/c/d", "junk", false}, {"a/b/c/d", std::string(Files::maxBytes + 1, ' '), true},
        {"a/b/c", named, false},    {"a/b/c/d/e", named, false}};
    for (const auto& [path, text, isKept] : cases) {
        const Stores stores;
        write(stores.store / "manifests" / path, text);
        // What no host reads, and so keeps nothing.
        fs::create_symlink("nothing", stores.store / "manifests/old");
        fs::create_directories(stores.store / "manifests/p/i/p");
        ASSERT_EQ(::mkfifo((stores.store / "manifests/p/i/p/e").c_str(), 0600), 0);
        const std::int64_t freed = ModelStore::deleteModel(gone, stores.root.path()).value_or(-1);
        EXPECT_EQ(freed, isKept ? 0 : std::ssize(own)) << path << " " << text.substr(0, 99);
        EXPECT_EQ(fs::exists(stores.source), isKept);
        EXPECT_TRUE(isUsable(stores.store, stays));
    }
}

TEST(ModelStore, RefusesToLoseAModelByMovingIt) {
    const std::pair<const char*, void (*)(const Stores&)> cases[] = {
        {"half a manifest", [](const Stores& stores) { write(manifest(stores.store, gone), R"({"layers":[)"); }},
        {"a blob is missing",
         [](const Stores& stores) {
             writeModel(stores.store, gone, {own, "new"}), fs::remove(stores.store / "blobs" / blob("new"));
         }},
        {"a blob's volume is missing",
         [](const Stores& stores) { fs::remove(stores.source), fs::create_symlink("nothing", stores.source); }},
        {"the blobs' volume is missing",
         [](const Stores& stores) {
             fs::remove_all(stores.store / "blobs"), fs::create_symlink("nothing", stores.store / "blobs");
         }},
    };
    for (const auto& [what, prepare] : cases) {
        const Stores stores;
        writeModel(stores.target, gone, {own, shared});
        prepare(stores);
        EXPECT_FALSE(stores.move()) << what;
        EXPECT_TRUE(isUsable(stores.target, gone) && fs::exists(manifest(stores.store, gone))) << what;
        EXPECT_FALSE(ModelStore::moveModel(stays, stores.root.path(), "")) << "to nowhere";
    }
}

TEST(ModelStore, DeletesAManifestThatItCannotRead) {
    const Stores stores;
    write(manifest(stores.store, gone), std::string(Files::maxBytes + 1, ' '));
    EXPECT_EQ(ModelStore::deleteModel(gone, stores.root.path()), 0);
    EXPECT_FALSE(fs::exists(manifest(stores.store, gone)));
}

TEST(ModelStore, ReachesNothingThroughADigest) {
    const Stores stores;
    write(stores.store / "victim", "untouched");
    write(manifest(stores.store, "evil"), R"({"layers":[{"digest":"../victim"},{"digest":"sha256:/../../victim"}]})");
    EXPECT_EQ(ModelStore::deleteModel("evil", stores.root.path()), 0);
    EXPECT_TRUE(fs::exists(stores.store / "victim"));
}

TEST(ModelStore, LeavesTheSourceWhereTheDiskFills) {
    const SmallDisk disk;
    if (!disk.path()) GTEST_SKIP() << SmallDisk::absence;
    const Stores stores{disk.path()};
    writeModel(stores.store, gone, {own, std::string(300'000, 'x')});
    EXPECT_FALSE(stores.move());
    EXPECT_TRUE(isUsable(stores.store, gone) && !fs::exists(stores.target / "blobs/.larkmoor-copy"));
}

TEST(ModelStore, MakesNoFolderBesideTheOldOne) {
    EXPECT_EQ(ModelStore::instanceRootOf("/a/models/b/models/c"), "/a/models/b");
    EXPECT_EQ(ModelStore::instanceRootOf("models/x"), std::nullopt);
    const TemporaryFolder folder;
    fs::create_directory(folder / "Models");
    EXPECT_FALSE(ModelStore::makeModelsDir(folder / "models/naming").has_value());
    EXPECT_FALSE(fs::exists(folder / "models"));
}

}  // namespace
}  // namespace larkmoor::testing

// OpenCode's store of sessions, as real databases of SQLite: whose it is, what it lists, and what is in its way.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include "LarkmoorConnectors/ConnectorHome.h"
#include "LarkmoorConnectors/OpenCode/OpenCodeSessionStore.h"
#include "Support/RunTool.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;
using namespace testing;
using OpenCodeSessionStore::Writer;

#define OLD "CREATE TABLE session(id, time_updated);"
#define NEW "CREATE TABLE session_v2(directory, time_updated);"
#define WAL "PRAGMA journal_mode=WAL;"

constexpr const char* data = ".local/share/opencode";

/// A connection that writes the store of a home.
struct Store {
    explicit Store(const ConnectorHome& home, const std::string& sql) {
        home.makeFolder(data);
        sqlite3_open(home.path(openCodeStore).c_str(), &database);
        run(sql);
    }
    ~Store() { sqlite3_close(database); }
    void run(const std::string& sql) const {
        EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
    }
    sqlite3* database = nullptr;
};

TEST(OpenCodeStore, WhoWritesItAndNothingIsLeftBesideIt) {
    const std::string odd = "a ?mode=rw#%41.db";  // of no meaning in a path
    const std::pair<std::string, Writer> table[] = {
        {OLD, Writer::openCode1}, {NEW, Writer::openCode2}, {OLD NEW, Writer::openCode2}, {"", Writer::unknown}};
    for (const auto& [sql, writer] : table) {
        for (const char* mode : {"", WAL}) {
            const ConnectorHome home;
            EXPECT_EQ(OpenCodeSessionStore::writer(home.path(openCodeStore)), std::nullopt);
            Store{home, mode + sql};
            fs::rename(home.path(openCodeStore), home.path(data) + "/" + odd);
            EXPECT_EQ(OpenCodeSessionStore::writer(home.path(data) + "/" + odd), writer) << mode << sql;
            EXPECT_EQ(Files::names(home.path(data)), std::vector{odd});
        }
    }
}

TEST(OpenCodeStore, ALiveWritersLogCounts) {
    const ConnectorHome home;
    const Store store{home, WAL OLD "BEGIN;" NEW};
    EXPECT_EQ(OpenCodeSessionStore::writer(home.path(openCodeStore)), Writer::openCode1);
    store.run("COMMIT;");
    home.link("link.db", home.path(openCodeStore));
    EXPECT_EQ(OpenCodeSessionStore::writer(home.path("link.db")), Writer::openCode2);
    // A log without its index, as a backup may hold it: there is nobody to write one.
    fs::copy(home.path(data), home.path("copy"));
    fs::remove(home.path("copy/opencode.db-shm"));
    EXPECT_EQ(OpenCodeSessionStore::writer(home.path("copy/opencode.db")), Writer::unknown);
    EXPECT_FALSE(fs::exists(home.path("copy/opencode.db-shm")));
}

TEST(OpenCodeStore, WhatCannotBeReadIsRefusedInPlainWords) {
    const std::tuple<const char*, void (*)(const std::string& path), const char*> table[] = {
        {"text", [](auto& path) { std::ofstream{path} << std::string(4096, 'x'); }, "file is not a database"},
        {"cut off", [](auto& path) { fs::resize_file(path, 5000); }, "database disk image is malformed"},
        {"closed to us", [](auto& path) { fs::permissions(path, fs::perms::none); }, "it would not open"},
        {"a pipe", [](auto& path) { fs::remove(path), ::mkfifo(path.c_str(), 0600); }, "it would not open"},
    };
    for (const auto& [name, make, text] : table) {
        SCOPED_TRACE(name);
        const ConnectorHome home;
        Store{home, NEW "CREATE TABLE a(b); CREATE TABLE c(d);"};
        make(home.path(openCodeStore));
        EXPECT_EQ(home.openCode().scan().identity.detail, "Update OpenCode and open it once to use it with Larkmoor.");
        EXPECT_EQ(home.told(home.openCode().install()),
                  "refused\n~/.local/share/opencode/opencode.db: this is OpenCode 1's session store; update OpenCode "
                  "and open it once, then tick it again. Nothing was written");
        const auto note = home.shown(*home.openCode().projects().note);
        EXPECT_TRUE(note.starts_with("session store present (~/.local/share/opencode/opencode.db, latest 20")) << note;
        EXPECT_TRUE(note.ends_with(std::string{") — its database did not answer: "} + text)) << note;
    }
}

TEST(OpenCodeStore, TheOldGenerationIsStillUsedWithinAWeek) {
    const auto cutoff = std::chrono::floor<std::chrono::milliseconds>(moment.time_since_epoch()).count() - 604'800'000;
    for (const auto& [session, isUsed] : {std::pair{cutoff, true}, {cutoff - 1, false}}) {
        const ConnectorHome home;
        Store{home, fmt::format(NEW OLD "CREATE TABLE kv(key, time_updated); INSERT INTO session VALUES('', {});"
                                        "INSERT INTO kv VALUES('migration.v1-v2', {});",
                                session, cutoff - 2)};
        EXPECT_EQ(home.openCode().shownIdentity().detail.starts_with("OpenCode 1 is still being used"), isUsed);
    }
}

TEST(OpenCodeStore, ProjectsByTheirLastActivity) {
    const ConnectorHome home;
    const Store store{home, NEW};
    const auto note = [&] { return home.openCode().projects().note; };
    EXPECT_EQ(note(), "the session store records no projects yet");
    store.run(
        "INSERT INTO session_v2 VALUES('/b', 1999), ('/a', 5), ('/é', 1999), ('/b', 2001), ('/b', 3), "
        "('/late', 9223372036854775807);");
    EXPECT_EQ(note(), std::nullopt);
    store.run("INSERT INTO session_v2 VALUES(NULL, 1);");
    EXPECT_EQ(note(), "1 session row recorded no decodable project directory");
    store.run(
        "INSERT INTO session_v2 VALUES('', 1), (7, 1), (x'2f61', 1), ('/c', 0), ('/c', 1.5), ('/c', NULL), "
        "('/c', '1'), (CAST(x'2fff' AS TEXT), 1), (CAST(x'2f0061' AS TEXT), 1);");
    EXPECT_EQ(note(), "10 session rows recorded no decodable project directory");
    // In a process that does not link SQLite.
    const ToolRun tool =
        runTool({LARKMOOR_CONNECT, "--home", home.path(), "--bundle", home.bundle(), "projects", "opencode"});
    EXPECT_TRUE(tool.out.starts_with("opencode: 4 projects\n  /late\n    last activity 2262-04-11T23:47:16Z\n  /b\n"))
        << tool.out;
}

}  // namespace
}  // namespace larkmoor

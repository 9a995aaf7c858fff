// OpenCode's store of sessions, as real databases of SQLite: whose it is, what it lists, and what is in its way.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <array>

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

/// A connection that writes the store of a home.
class Store {
  public:
    explicit Store(const ConnectorHome& home, const std::string& sql = "") {
        home.makeFolder(".local/share/opencode");
        EXPECT_EQ(sqlite3_open(home.path(openCodeStore).c_str(), &database_), SQLITE_OK);
        run(sql);
    }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;
    ~Store() { sqlite3_close(database_); }

    void run(const std::string& sql) const {
        EXPECT_EQ(sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database_);
    }

  private:
    sqlite3* database_ = nullptr;
};

std::optional<Writer> writerIn(const ConnectorHome& home) {
    return OpenCodeSessionStore::writer(home.path(openCodeStore));
}

std::vector<std::string> dataFiles(const ConnectorHome& home) {
    return Files::names(home.path(".local/share/opencode")).value_or(std::vector<std::string>{});
}

// "?" and "%" in a path are not of a URI.
TEST(OpenCodeStore, WhoWritesItAndNothingIsLeftBesideIt) {
    const std::pair<std::string, Writer> table[] = {{OLD, Writer::openCode1},
                                                    {NEW, Writer::openCode2},
                                                    {OLD NEW, Writer::openCode2},
                                                    {"CREATE TABLE kv(key);", Writer::unknown},
                                                    {"CREATE VIEW session_v2 AS SELECT 1;" OLD, Writer::openCode1}};
    for (const auto& [sql, writer] : table) {
        for (const char* mode : {"", WAL}) {
            const ConnectorHome home;
            EXPECT_EQ(writerIn(home), std::nullopt);
            Store{home, mode + sql};
            EXPECT_EQ(writerIn(home), writer) << sql;
            EXPECT_EQ(dataFiles(home), std::vector<std::string>{"opencode.db"}) << mode << sql;
            fs::rename(home.path(openCodeStore), home.path(".local/share/opencode/a ?mode=rw#%41.db"));
            EXPECT_EQ(OpenCodeSessionStore::writer(home.path(".local/share/opencode/a ?mode=rw#%41.db")), writer);
        }
    }
}

TEST(OpenCodeStore, ALiveWritersLogCounts) {
    const ConnectorHome home;
    const Store store{home, WAL OLD};
    const auto files = dataFiles(home);
    EXPECT_EQ(writerIn(home), Writer::openCode1);
    store.run("BEGIN; " NEW);
    EXPECT_EQ(writerIn(home), Writer::openCode1);
    store.run("COMMIT; INSERT INTO session_v2 VALUES('/w', 1);");
    EXPECT_EQ(writerIn(home), Writer::openCode2);
    EXPECT_EQ(home.openCode().projects().projects.size(), 1U);
    EXPECT_EQ(dataFiles(home), files);
    // A log without its index, as a backup may hold it: there is nobody to write one.
    fs::copy(home.path(".local/share/opencode"), home.path("copy"));
    fs::remove(home.path("copy/opencode.db-shm"));
    EXPECT_EQ(OpenCodeSessionStore::writer(home.path("copy/opencode.db")), Writer::unknown);
    EXPECT_FALSE(fs::exists(home.path("copy/opencode.db-shm")));
}

TEST(OpenCodeStore, WhatCannotBeReadIsRefusedInPlainWords) {
    struct Case {
        const char* name;
        std::function<void(const std::string& path)> make;
        const char* text;
    };
    const Case table[] = {
        {"text", [](const auto& path) { std::ofstream{path} << std::string(4096, 'x'); }, "file is not a database"},
        {"cut off", [](const auto& path) { fs::resize_file(path, 5000); }, "database disk image is malformed"},
        {"empty", [](const auto& path) { fs::resize_file(path, 0); }, "no such table: session_v2"},
        {"without permission", [](const auto& path) { fs::permissions(path, fs::perms::none); }, "it would not open"},
        {"a pipe", [](const auto& path) { fs::remove(path), ::mkfifo(path.c_str(), 0600); }, "it would not open"},
        {"a folder", [](const auto& path) { fs::remove(path), fs::create_directory(path); }, "it would not open"},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome home;
        home.makeFolder(".config/opencode");
        Store{home, NEW "CREATE TABLE a(b); CREATE TABLE c(d);"};
        row.make(home.path(openCodeStore));
        fs::last_write_time(home.path(".local/share/opencode"), fs::file_time_type::clock::now());
        EXPECT_EQ(home.openCode().shownIdentity().detail, "Update OpenCode and open it once to use it with Larkmoor.");
        EXPECT_EQ(home.told(home.openCode().install()),
                  "refused\n~/.local/share/opencode/opencode.db: this is OpenCode 1's session store; update OpenCode "
                  "and open it once, then tick it again. Nothing was written");
        const auto note = home.shown(*home.openCode().projects().note);
        EXPECT_TRUE(note.starts_with("session store present (~/.local/share/opencode/opencode.db, latest 20")) << note;
        EXPECT_TRUE(note.ends_with(std::string{") — its database did not answer: "} + row.text)) << note;
    }
}

TEST(OpenCodeStore, ALockIsWaitedForAndThenRefused) {
    const ConnectorHome home;
    const Store store{home, NEW};
    store.run("BEGIN EXCLUSIVE;");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(writerIn(home), Writer::unknown);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{1400});
    store.run("COMMIT;");
    EXPECT_EQ(writerIn(home), Writer::openCode2);
}

TEST(OpenCodeStore, TheOldGenerationIsStillUsed) {
    constexpr auto now = std::chrono::floor<std::chrono::milliseconds>(moment.time_since_epoch()).count();
    constexpr auto week = 604'800'000;
    const std::tuple<std::int64_t, std::int64_t, bool> table[] = {
        {now - week, now - week - 1, true}, {now - week - 1, 0, false}, {now, now, false}, {now + 1, now, true}};
    for (const auto& [session, migration, isUsed] : table) {
        const ConnectorHome home;
        const Store store{home, NEW OLD "CREATE TABLE kv(key, time_updated); INSERT INTO session VALUES(NULL, " +
                                    std::to_string(session) + ");"};
        EXPECT_EQ(home.openCode().shownIdentity(), home.openCode().identity());
        store.run("INSERT INTO kv VALUES('migration.v1-v2', " + std::to_string(migration) + ");");
        EXPECT_EQ(home.openCode().scan().identity.detail,
                  isUsed ? "OpenCode 1 is still being used on this Mac. Update it to use it with Larkmoor."
                         : home.openCode().identity().detail);
    }
}

TEST(OpenCodeStore, ProjectsByTheirLastActivity) {
    const ConnectorHome home;
    const auto note = [&] { return home.openCode().projects().note; };
    EXPECT_EQ(note(), "no session store found");
    home.makeFolder(".local/share/opencode/storage");
    EXPECT_EQ(home.shown(*note()),
              "legacy JSON session store present (~/.local/share/opencode/storage) — a pre-1.x layout this connector "
              "does not decode");
    const Store store{home, NEW};
    EXPECT_EQ(note(), "the session store records no projects yet");
    store.run(
        "INSERT INTO session_v2 VALUES('/b', 1999), ('/a', 5), ('/é', 1999), ('/b', 2001), ('/b', 3);"
        "INSERT INTO session_v2 VALUES('/late', 9223372036854775807);");
    EXPECT_EQ(note(), std::nullopt);
    store.run("INSERT INTO session_v2 VALUES(NULL, 1);");
    EXPECT_EQ(note(), "1 session row recorded no decodable project directory");
    store.run(
        "INSERT INTO session_v2 VALUES('', 1), (7, 1), (x'2f61', 1), ('/c', 0), ('/c', -1), ('/c', 1.5), ('/c', "
        "NULL), ('/c', '1'), (CAST(x'2fff' AS TEXT), 1), (CAST(x'2f0061' AS TEXT), 1);");
    EXPECT_EQ(note(), "11 session rows recorded no decodable project directory");
    std::string paths;
    for (const ConnectorProject& each : home.openCode().projects().projects) paths += each.path;
    EXPECT_EQ(paths, "/late/b/é/a");
    EXPECT_EQ(home.openCode().projects().projects[1].lastActivity.time_since_epoch(), std::chrono::milliseconds{2001});
    // In a process that does not link SQLite.
    const ToolRun tool =
        runTool({LARKMOOR_CONNECT, "--home", home.path(), "--bundle", home.bundle(), "projects", "opencode"});
    EXPECT_TRUE(tool.out.starts_with("opencode: 4 projects\n")) << tool.out << tool.err;
}

}  // namespace
}  // namespace larkmoor

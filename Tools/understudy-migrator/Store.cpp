#include "Store.h"

#include <fmt/format.h>

#include <array>
#include <utility>

namespace larkmoor::understudy {

namespace {

constexpr std::array allSteps{
    Store::Step{"0001-apps",
                "CREATE TABLE app(id INTEGER PRIMARY KEY, name TEXT UNIQUE);"
                "INSERT INTO app(name) SELECT DISTINCT app FROM line;"
                "ALTER TABLE line ADD COLUMN app_id INTEGER;"
                "UPDATE line SET app_id = (SELECT id FROM app WHERE name = line.app);"},
    Store::Step{"0002-lengths",
                "ALTER TABLE line ADD COLUMN length INTEGER;"
                "UPDATE line SET length = length(text);"},
    Store::Step{"0003-index", "CREATE INDEX line_by_app ON line(app_id, at);"},
};

}  // namespace

Store::Step Store::step(int number) { return allSteps.at(static_cast<std::size_t>(number - 1)); }

std::expected<Store, std::string> Store::open(const std::string& path, bool creates) {
    sqlite3* database = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | (creates ? SQLITE_OPEN_CREATE : 0);
    const int failed = sqlite3_open_v2(path.c_str(), &database, flags, nullptr);
    Store store{database};
    if (failed != SQLITE_OK) return std::unexpected(path + ": " + sqlite3_errmsg(database));
    sqlite3_busy_timeout(database, 2000);
    return store;
}

Store::Store(Store&& other) noexcept : database_(std::exchange(other.database_, nullptr)) {}

Store::~Store() { sqlite3_close(database_); }

Done Store::execute(const std::string& statements) {
    char* message = nullptr;
    if (sqlite3_exec(database_, statements.c_str(), nullptr, nullptr, &message) == SQLITE_OK) return {};
    std::string words = message != nullptr ? message : sqlite3_errmsg(database_);
    sqlite3_free(message);
    return std::unexpected(std::move(words));
}

std::expected<std::int64_t, std::string> Store::number(const std::string& query) {
    sqlite3_stmt* statement = nullptr;
    std::expected<std::int64_t, std::string> answer = std::unexpected(std::string{"no row"});
    if (sqlite3_prepare_v2(database_, query.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
        answer = sqlite3_column_int64(statement, 0);
    } else {
        answer = std::unexpected(std::string{sqlite3_errmsg(database_)});
    }
    sqlite3_finalize(statement);
    return answer;
}

Done Store::fill(std::int64_t rows, const std::string& keyDigest) {
    return execute(
        fmt::format("PRAGMA journal_mode = WAL;"
                    "BEGIN;"
                    "CREATE TABLE meta(name TEXT PRIMARY KEY, value TEXT);"
                    "INSERT INTO meta VALUES('rows', '{0}'), ('key', '{1}');"
                    "CREATE TABLE line(id INTEGER PRIMARY KEY, at INTEGER, app TEXT, text TEXT);"
                    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {0})"
                    " INSERT INTO line(at, app, text) SELECT i * 1000, 'app ' || (i % 7), printf('%0100d', i) FROM n;"
                    "COMMIT;",
                    rows, keyDigest));
}

std::expected<bool, std::string> Store::takes(const std::string& keyDigest) {
    const auto fits = number("SELECT value = '' OR value = '" + keyDigest + "' FROM meta WHERE name = 'key'");
    if (!fits) return std::unexpected(fits.error());
    return *fits != 0;
}

std::expected<int, std::string> Store::version() {
    const auto version = number("PRAGMA user_version");
    if (!version) return std::unexpected(version.error());
    return static_cast<int>(*version);
}

Done Store::apply(int step) {
    return execute(
        fmt::format("BEGIN IMMEDIATE;{}PRAGMA user_version = {};COMMIT;", Store::step(step).statements, step));
}

Done Store::copyTo(const std::string& path) { return execute("VACUUM INTO '" + path + "'"); }

Done Store::judge() {
    const auto isWhole = number("SELECT integrity_check = 'ok' FROM pragma_integrity_check");
    if (!isWhole) return std::unexpected(isWhole.error());
    if (*isWhole == 0) return std::unexpected(std::string{"the store is damaged"});
    const auto reached = version();
    if (!reached) return std::unexpected(reached.error());
    if (*reached != steps) return std::unexpected(fmt::format("the store is on version {}", *reached));
    const auto missing = number(
        "SELECT (SELECT count(*) FROM line WHERE app_id IS NOT NULL AND length = length(text)) - "
        "(SELECT CAST(value AS INTEGER) FROM meta WHERE name = 'rows')");
    if (!missing) return std::unexpected(missing.error());
    if (*missing != 0) return std::unexpected(fmt::format("{} rows are not as they should be", *missing));
    return {};
}

}  // namespace larkmoor::understudy

// A small store of the kind that the Migrator works on: SQLite, with a schema that three steps bring from version 0 to
// version 3. Each step is a transaction of its own, so that a killed migration leaves a store between two versions.
#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <string_view>

#include <sqlite3.h>

namespace larkmoor::understudy {

using Done = std::expected<void, std::string>;

class Store {
  public:
    struct Step {
        std::string_view id;
        std::string_view statements;
    };
    static constexpr int steps = 3;
    static Step step(int number);

    static std::expected<Store, std::string> open(const std::string& path, bool creates = false);
    Store(Store&& other) noexcept;
    Store& operator=(Store&&) = delete;
    ~Store();

    Done execute(const std::string& statements);
    std::expected<std::int64_t, std::string> number(const std::string& query);

    /// Fills a new store of version 0; `keyDigest` is the SHA-256 of its key, or empty for none.
    Done fill(std::int64_t rows, const std::string& keyDigest);
    /// Whether the store has no key, or this one.
    std::expected<bool, std::string> takes(const std::string& keyDigest);
    /// How many steps are applied.
    std::expected<int, std::string> version();
    Done apply(int step);
    Done copyTo(const std::string& path);
    /// Whole, on the last version, and with every row.
    Done judge();

  private:
    explicit Store(sqlite3* database) : database_(database) {}

    sqlite3* database_;
};

}  // namespace larkmoor::understudy

// Reads a SQLite database that belongs to another program, and leaves no file beside it; only if the last writer in WAL
// mode closes it while the query begins, SQLite makes its empty log anew, and the query may fail. The library is loaded
// for the length of one query: nearly every run of this program does without it.
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace larkmoor::SQLiteReader {

/// The step that failed, and what SQLite, or the system for it, says of it, if anything.
struct [[nodiscard]] Failure {
    enum class Step { open, prepare, row };

    Step step = Step::open;
    std::optional<std::string> text{};
};

/// Why SQLite cannot be loaded at all, as a sentence for the user; nullopt if it can. Any thread.
std::optional<std::string> loadFault();

/// A column of the current row: a text's bytes, a whole number, or a value of another type. A view is valid during the
/// call only.
using Value = std::variant<std::monostate, std::string_view, std::int64_t>;

struct Limits {
    std::chrono::milliseconds busy;   ///< for how long a lock of another process is waited for
    std::chrono::milliseconds total;  ///< a query that takes longer fails: of a foreign view the rows may never end
};

/// Calls `each` for every row of the query, in order, with a function that reads the row's columns, counted from 0 and
/// not beyond those that the query names; if it returns false, the query fails. `path` is absolute.
///
/// A database in WAL mode is read with its log; if the log is there without its index, opening fails. What is no
/// regular file is a failure at once. Any thread; the queries of a process wait for each other, so `each` makes none.
std::expected<void, Failure> rows(const std::string& path, const std::string& query, const Limits& limits,
                                  const std::function<bool(const std::function<Value(int)>&)>& each);

}  // namespace larkmoor::SQLiteReader

#include "LarkmoorConnectors/OpenCode/SQLiteReader.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor::SQLiteReader {

namespace {

/// The functions of SQLite that we call, valid as long as this object. A query with loading and unloading takes 0.5 ms,
/// in a process of its own 2.9 ms; linked, the library costs every run of the program 0.25 MB of private memory.
class Library {
  public:
    /// Or why there is none.
    static std::expected<Library, std::string> load() {
        Handle handle{::dlopen("libsqlite3.so.0", RTLD_NOW | RTLD_LOCAL), &::dlclose};
        if (!handle) return lastFault();
        Library library{std::move(handle)};
        const bool isWhole =
            library.find(library.open, "sqlite3_open_v2") &&
            library.find(library.busyTimeout, "sqlite3_busy_timeout") &&
            library.find(library.progressHandler, "sqlite3_progress_handler") &&
            library.find(library.prepare, "sqlite3_prepare_v2") && library.find(library.step, "sqlite3_step") &&
            library.find(library.columnType, "sqlite3_column_type") &&
            library.find(library.columnText, "sqlite3_column_text") &&
            library.find(library.columnBytes, "sqlite3_column_bytes") &&
            library.find(library.columnInteger, "sqlite3_column_int64") &&
            library.find(library.errorText, "sqlite3_errmsg") && library.find(library.finalize, "sqlite3_finalize") &&
            library.find(library.close, "sqlite3_close");
        if (!isWhole) return lastFault();
        return library;
    }

    decltype(&sqlite3_open_v2) open = nullptr;
    decltype(&sqlite3_busy_timeout) busyTimeout = nullptr;
    decltype(&sqlite3_progress_handler) progressHandler = nullptr;
    decltype(&sqlite3_prepare_v2) prepare = nullptr;
    decltype(&sqlite3_step) step = nullptr;
    decltype(&sqlite3_column_type) columnType = nullptr;
    decltype(&sqlite3_column_text) columnText = nullptr;
    decltype(&sqlite3_column_bytes) columnBytes = nullptr;
    decltype(&sqlite3_column_int64) columnInteger = nullptr;
    decltype(&sqlite3_errmsg) errorText = nullptr;
    decltype(&sqlite3_finalize) finalize = nullptr;
    decltype(&sqlite3_close) close = nullptr;

  private:
    /// Unlike a shared pointer, it does not call `dlclose` with a null pointer, which ends the process.
    using Handle = std::unique_ptr<void, decltype(&::dlclose)>;

    explicit Library(Handle handle) : handle_(std::move(handle)) {}

    static std::unexpected<std::string> lastFault() {
        const char* fault = ::dlerror();
        return std::unexpected{
            fmt::format("SQLite could not be loaded: {}", fault == nullptr ? "a function is missing" : fault)};
    }

    template <class Function>
    bool find(Function& function, const char* name) const {
        function = reinterpret_cast<Function>(::dlsym(handle_.get(), name));
        return function != nullptr;
    }

    Handle handle_;
};

std::string tooLong(const Limits& limits) {
    return fmt::format("it took longer than {} s", std::chrono::duration<double>{limits.total}.count());
}

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;
constexpr int stepsBetweenLooks = 10'000;  // of SQLite's machine; some 0.1 ms

/// Asked by SQLite, with the query's deadline.
int isOver(void* deadline) { return Clock::now() > *static_cast<const Deadline*>(deadline) ? 1 : 0; }

/// Whether the database is in WAL mode, or why it is no regular file that we may read.
std::expected<bool, std::string> isInWALMode(const std::string& path) {
    constexpr std::size_t versionAt = 18;
    constexpr unsigned char wal = 2;
    // Without O_NONBLOCK, opening a pipe would wait for its writer.
    const FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)};
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0) return std::unexpected{std::generic_category().message(errno)};
    if (!S_ISREG(status.st_mode)) return std::unexpected{"it is not a regular file"};
    std::array<unsigned char, versionAt + 2> header{};
    const auto read = ::pread(file.get(), header.data(), header.size(), 0);
    return read == static_cast<ssize_t>(header.size()) && header[versionAt] == wal && header[versionAt + 1] == wal;
}

/// How to open a database in WAL mode. There even a reader creates the log and its index, and leaves them: without a
/// log, the database is taken as it stands; else the index is only read, and where it is missing, opening fails.
std::string_view walParameter(const std::string& path) {
    std::error_code isMissing;
    const auto size = std::filesystem::file_size(path + "-wal", isMissing);
    const bool hasLog = !isMissing && (size > 0 || Files::exists(path + "-shm"));
    return hasLog ? "?readonly_shm=1" : "?immutable=1";
}

std::string uri(const std::string& path, bool isWAL) {
    std::string uri = "file://";
    for (const char byte : path) {
        const auto code = static_cast<unsigned char>(byte);
        uri += std::isalnum(code) != 0 || byte == '/' ? std::string{byte} : fmt::format("%{:02X}", code);
    }
    return uri.append(isWAL ? walParameter(path) : "");
}

Value valueOf(const Library& library, sqlite3_stmt* statement, int column) {
    switch (library.columnType(statement, column)) {
        case SQLITE_TEXT: {
            const auto* text = reinterpret_cast<const char*>(library.columnText(statement, column));
            if (text == nullptr) return std::monostate{};
            return std::string_view{text, static_cast<std::size_t>(library.columnBytes(statement, column))};
        }
        case SQLITE_INTEGER:
            return std::int64_t{library.columnInteger(statement, column)};
        default:
            return std::monostate{};
    }
}

}  // namespace

std::optional<std::string> loadFault() {
    const auto library = Library::load();
    return library ? std::nullopt : std::optional{library.error()};
}

std::expected<void, Failure> rows(const std::string& path, const std::string& query, const Limits& limits,
                                  const std::function<bool(const std::function<Value(int)>&)>& each) {
    // The system's locks are the process's: closing the file in one query would end those of another.
    static std::mutex oneAtATime;
    const std::scoped_lock turn{oneAtATime};
    // SQLite resolves links too, and looks for the log beside the real file.
    const std::string file = ConfigPath::canonical(path);
    const auto isWAL = isInWALMode(file);
    if (!isWAL) return std::unexpected{Failure{Failure::Step::open, "it would not open: " + isWAL.error()}};
    const auto library = Library::load();
    if (!library) return std::unexpected{Failure{Failure::Step::open, library.error()}};

    sqlite3* opened = nullptr;
    const int result =
        library->open(uri(file, *isWAL).c_str(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    const std::unique_ptr<sqlite3, decltype(library->close)> database{opened, library->close};
    const auto failure = [&](Failure::Step step) {
        const char* text = database ? library->errorText(database.get()) : nullptr;
        return std::unexpected{Failure{step, text == nullptr ? std::nullopt : std::optional<std::string>{text}}};
    };
    if (result != SQLITE_OK) return failure(Failure::Step::open);
    library->busyTimeout(database.get(), static_cast<int>(limits.busy.count()));
    Deadline end = Clock::now() + limits.total;
    library->progressHandler(database.get(), stepsBetweenLooks, &isOver, &end);

    sqlite3_stmt* prepared = nullptr;
    if (library->prepare(database.get(), query.c_str(), -1, &prepared, nullptr) != SQLITE_OK) {
        return failure(Failure::Step::prepare);
    }
    const std::unique_ptr<sqlite3_stmt, decltype(library->finalize)> statement{prepared, library->finalize};
    int step = SQLITE_DONE;
    while ((step = library->step(statement.get())) == SQLITE_ROW) {
        if (!each([&](int column) { return valueOf(*library, statement.get(), column); })) {
            return std::unexpected{Failure{Failure::Step::row, "it holds more than can be read"}};
        }
    }
    if (step == SQLITE_INTERRUPT) {
        return std::unexpected{Failure{Failure::Step::row, tooLong(limits)}};
    }
    if (step != SQLITE_DONE) return failure(Failure::Step::row);
    return {};
}

}  // namespace larkmoor::SQLiteReader

#include "Verbs.h"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "LarkmoorBase/DurableFiles.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/Process.h"
#include "Store.h"

namespace larkmoor::understudy {

namespace fs = std::filesystem;

namespace {

constexpr int done = 0, failed = 1, refused = 2;

template <class... Arguments>
void tell(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    fmt::print(format, std::forward<Arguments>(arguments)...);
    fmt::print("\n");
    std::fflush(stdout);
}

int refuse(int status, const std::string& words) {
    tell("REFUSED {}", words);
    return status;
}

[[noreturn]] void hang() {
    for (;;) ::pause();
}

/// Plays what the scenario has for this point.
void reach(const Order& order, const std::string& point) {
    if (!order.scenario.troubles) return;
    for (const Trouble& trouble : *order.scenario.troubles) {
        if (trouble.at != point) continue;
        tell("AT      {}", point);
        // Holds our output, in our group.
        if (trouble.child.value_or(false) && ::fork() == 0) hang();
        std::this_thread::sleep_for(std::chrono::milliseconds{trouble.pauseMilliseconds.value_or(0)});
        if (trouble.signal) {
            // Sanitizers would turn a crash into an exit.
            ::signal(static_cast<int>(*trouble.signal), SIG_DFL);
            ::raise(static_cast<int>(*trouble.signal));
        }
        if (trouble.exit) std::_Exit(static_cast<int>(*trouble.exit));
        if (trouble.hang.value_or(false)) hang();
    }
}

/// The store, if it is there and takes the key.
std::expected<Store, std::string> unlocked(const Order& order) {
    auto store = Store::open(order.database);
    if (!store) return store;
    const auto takes = store->takes(order.keyDigest);
    if (!takes) return std::unexpected(takes.error());
    if (!*takes) return std::unexpected(std::string{"this is not the store's key"});
    return store;
}

class Latch {
  public:
    explicit Latch(const std::string& database) : path_(database + ".migration-in-progress") {}

    Done raise() const {
        const auto start = ProcessTable::start(::getpid());
        if (!start) return std::unexpected(std::string{"no start time"});
        const std::string text =
            fmt::format("pid {}\nstarted-at-us {}\n", ::getpid(),
                        std::chrono::duration_cast<std::chrono::microseconds>(start->time_since_epoch()).count());
        const std::string staging = path_ + ".writing";
        ::unlink(staging.c_str());
        const auto written = DurableFiles::create(staging, asBytes(text), 0600);
        if (!written) return std::unexpected(written.error().description());
        if (std::rename(staging.c_str(), path_.c_str()) != 0) return std::unexpected(FileError{path_, errno}.reason());
        sync();
        tell("LATCH   raised · pid {}", ::getpid());
        return {};
    }

    void lower() const {
        ::unlink(path_.c_str());
        sync();
        tell("LATCH   lowered · pid {}", ::getpid());
    }

  private:
    void sync() const { (void)DurableFiles::syncFolder(fs::path{path_}.parent_path().string()); }

    std::string path_;
};

std::string sizeText(std::uintmax_t bytes) {
    constexpr double mega = 1048576, giga = 1073741824;
    const auto size = static_cast<double>(bytes);
    if (size >= giga) return fmt::format("{:.2f} GB", size / giga);
    return size >= mega ? fmt::format("{:.1f} MB", size / mega) : fmt::format("{} B", bytes);
}

/// The backup's path.
std::expected<std::string, std::string> backUp(Store& store, const Order& order) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const std::string path =
        fmt::format("{}/{}.backup-{}", order.backupDir, fs::path{order.database}.filename().string(),
                    std::chrono::duration_cast<std::chrono::microseconds>(now).count());
    const bool isTold = !order.scenario.namesNoBackup.value_or(false);
    if (isTold) tell("BACKUP  {} → {}", order.database, path);
    if (auto copied = store.copyTo(path); !copied) return std::unexpected(copied.error());
    reach(order, "backup");
    auto copy = Store::open(path);
    if (!copy) return std::unexpected(copy.error());
    if (auto whole = copy->number("SELECT integrity_check = 'ok' FROM pragma_integrity_check"); !whole || *whole == 0) {
        return std::unexpected(std::string{"the backup is damaged"});
    }
    (void)DurableFiles::syncFolder(order.backupDir);
    if (isTold) {
        tell("BACKUP  verified · integrity ok · {}", order.scenario.statedSize.value_or(sizeText(fs::file_size(path))));
    }
    return path;
}

}  // namespace

int plan(const Order& order) {
    reach(order, "plan");
    if (order.scenario.planOutput) {
        tell("{}", *order.scenario.planOutput);
        return done;
    }
    auto store = unlocked(order);
    if (!store) return refuse(refused, store.error());
    const auto version = store->version();
    if (!version) return refuse(refused, version.error());
    tell("PLAN    the store is on version {}", *version);
    std::string steps;
    for (int number = 1; number <= Store::steps; ++number) {
        steps += fmt::format("{}{{\"id\":\"{}\",\"disposition\":\"{}\"}}", number == 1 ? "" : ",",
                             Store::step(number).id, number <= *version ? "applied" : "pending");
    }
    tell("{{\"steps\":[{}]}}", steps);
    tell("PLAN    done");
    return done;
}

int apply(const Order& order) {
    auto store = unlocked(order);
    if (!store) return refuse(refused, store.error());
    const auto version = store->version();
    if (!version) return refuse(refused, version.error());
    const Latch latch{order.database};
    if (auto raised = latch.raise(); !raised) return refuse(failed, raised.error());
    reach(order, "latch");
    const auto backup = backUp(*store, order);
    if (!backup) return refuse(failed, backup.error());
    for (int number = *version + 1; number <= Store::steps; ++number) {
        tell("STEP    {}", Store::step(number).id);
        if (auto applied = store->apply(number); !applied) return refuse(failed, applied.error());
        reach(order, fmt::format("step {}", number));
    }
    if (order.scenario.losesBackup.value_or(false)) ::unlink(backup->c_str());
    latch.lower();
    reach(order, "done");
    return done;
}

int judge(const Order& order) {
    reach(order, "floor");
    auto store = unlocked(order);
    if (!store) return refuse(refused, store.error());
    if (auto judged = store->judge(); !judged) return refuse(failed, judged.error());
    tell("FLOOR   green");
    return done;
}

int make(const Order& order, Int rows) {
    auto store = Store::open(order.database, true);
    if (!store) return refuse(failed, store.error());
    if (auto filled = store->fill(rows, order.keyDigest); !filled) return refuse(failed, filled.error());
    tell("MADE    {} rows", rows);
    return done;
}

}  // namespace larkmoor::understudy

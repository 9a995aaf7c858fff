// What the running application costs at rest, against two bare tray programs on the same bus and panel. Started by
// Benchmarks/resident/run, which brings screen, bus, panel and daemon.
//
// usage: bench-resident LARKMOOR GTK QT [REST_SECONDS]
#include <dirent.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "Statistics.h"

extern char** environ;

namespace {

using namespace larkmoor::bench;
using Clock = std::chrono::steady_clock;
constexpr int starts = 11;
constexpr int refreshes = 2880;
constexpr int openings = 200;

sd_bus* bus = nullptr;

struct Program {
    pid_t process = 0;
    std::string item;  ///< its unique name on the bus
    std::string path = "/StatusNotifierItem";
    double registeredMs = 0;  ///< from exec to the watcher's word
};

pid_t processOf(const std::string& name) {
    sd_bus_message* reply = nullptr;
    std::uint32_t process = 0;
    if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                           "GetConnectionUnixProcessID", nullptr, &reply, "s", name.c_str()) >= 0) {
        sd_bus_message_read(reply, "u", &process);
    }
    sd_bus_message_unref(reply);
    return static_cast<pid_t>(process);
}

/// Starts the program and waits until the panel's watcher tells of an item of that process.
Program start(const char* path) {
    Program program;
    std::string* item = &program.item;
    sd_bus_slot* slot = nullptr;
    sd_bus_match_signal(
        bus, &slot, nullptr, "/StatusNotifierWatcher", "org.kde.StatusNotifierWatcher", "StatusNotifierItemRegistered",
        [](sd_bus_message* message, void* found, sd_bus_error*) {
            const char* text = nullptr;
            if (sd_bus_message_read(message, "s", &text) > 0) *static_cast<std::string*>(found) = text;
            return 0;
        },
        item);
    char* const arguments[] = {const_cast<char*>(path), nullptr};
    const auto began = Clock::now();
    if (::posix_spawn(&program.process, path, nullptr, nullptr, arguments, environ) != 0)
        give(std::string{"cannot start "} + path);
    while (program.item.empty()) {
        if (Clock::now() - began > std::chrono::seconds{20}) give(std::string{path} + " did not register");
        if (sd_bus_process(bus, nullptr) == 0) sd_bus_wait(bus, 1'000'000);
    }
    program.registeredMs = std::chrono::duration<double, std::milli>(Clock::now() - began).count();
    sd_bus_slot_unref(slot);
    const std::size_t slash = program.item.find('/');
    if (slash != std::string::npos) program.path = program.item.substr(slash);
    program.item.resize(std::min(slash, program.item.size()));
    if (const pid_t owner = processOf(program.item); owner != program.process)
        give(std::string{path} + ": another item registered");
    return program;
}

void end(const Program& program) {
    ::kill(program.process, SIGTERM);
    ::waitpid(program.process, nullptr, 0);
}

long field(const std::string& file, const std::string& name) {
    std::ifstream lines{file};
    long sum = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name)) sum += std::strtol(line.c_str() + name.size(), nullptr, 10);
    }
    return sum;
}

struct Cost {
    double resident, proportional, privately;  ///< MB
    long threads;
};

Cost costOf(pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process);
    const std::string maps = folder + "/smaps_rollup";
    auto megabytes = [&](const char* name) { return static_cast<double>(field(maps, name)) / 1024; };
    return {megabytes("Rss:"), megabytes("Pss:"), megabytes("Private_Clean:") + megabytes("Private_Dirty:"),
            field(folder + "/status", "Threads:")};
}

/// Voluntary context switches, by thread.
using WakeUps = std::map<std::string, long>;

WakeUps wakeUps(pid_t process) {
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    WakeUps threads;
    DIR* folder = ::opendir(tasks.c_str());
    if (folder == nullptr) give("the program has ended");
    while (const dirent* entry = ::readdir(folder)) {
        if (entry->d_name[0] != '.')
            threads[entry->d_name] = field(tasks + "/" + entry->d_name + "/status", "voluntary_ctxt_switches:");
    }
    ::closedir(folder);
    return threads;
}

/// Those of the threads that live at the end; what one did that ended meanwhile is missed.
long wakeUpsSince(const WakeUps& before, pid_t process) {
    long sum = 0;
    for (const auto& [thread, count] : wakeUps(process)) {
        const auto known = before.find(thread);
        sum += count - (known == before.end() ? 0 : known->second);
    }
    return sum;
}

/// `registered` is a time in milliseconds, or empty.
void print(const char* name, const std::string& registered, const Cost& cost, long wakes, int seconds) {
    std::printf("%-34s %8s %9.2f %9.2f %9.2f %8ld %8ld in %d s\n", name, registered.c_str(), cost.resident,
                cost.proportional, cost.privately, cost.threads, wakes, seconds);
    std::fflush(stdout);
}

void rest(pid_t process, const char* name, const std::string& registered, int seconds) {
    ::sleep(10);
    const Cost cost = costOf(process);
    const WakeUps before = wakeUps(process);
    ::sleep(static_cast<unsigned>(seconds));
    print(name, registered, cost, wakeUpsSince(before, process), seconds);
}

Program measure(const char* name, const char* path, int seconds) {
    std::vector<double> times;
    Program program;
    for (int round = 0; round < starts; ++round) {
        if (round > 0) end(program), ::usleep(300'000);
        program = start(path);
        times.push_back(program.registeredMs);
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", median(times));
    rest(program.process, name, text.data(), seconds);
    return program;
}

void call(const std::string& destination, const char* path, const char* interface, const char* member,
          const char* types, ...) {
    sd_bus_message* message = nullptr;
    sd_bus_message* reply = nullptr;
    sd_bus_error error{};
    sd_bus_message_new_method_call(bus, &message, destination.c_str(), path, interface, member);
    va_list values;
    va_start(values, types);
    sd_bus_message_appendv(message, types, values);
    va_end(values);
    if (sd_bus_call(bus, message, 0, &error, &reply) < 0)
        give(std::string{member} + ": " + (error.message ? error.message : "?"));
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
    sd_bus_message_unref(message);
}

std::string menuPath(const Program& program) {
    char* path = nullptr;
    sd_bus_message* reply = nullptr;
    if (sd_bus_get_property(bus, program.item.c_str(), program.path.c_str(), "org.kde.StatusNotifierItem", "Menu",
                            nullptr, &reply, "o") < 0) {
        give("the item has no menu");
    }
    sd_bus_message_read(reply, "o", &path);
    std::string text = path;
    sd_bus_message_unref(reply);
    return text;
}

/// A day of work: each word that the journey's window is not visible is a refresh, each opening of the menu another.
void work(const Program& program) {
    for (int round = 0; round < refreshes; ++round) {
        sd_bus_emit_signal(bus, "/tools/fenwright/larkmoor/notifications", "tools.fenwright.larkmoor.Notifications",
                           "Posted", "ssa{ss}", "tools.fenwright.larkmoor.journey-visible", "0", 0);
        sd_bus_flush(bus);
        ::usleep(2000);
    }
    const std::string menu = menuPath(program);
    for (int round = 0; round < openings; ++round) {
        call(program.item, menu.c_str(), "com.canonical.dbusmenu", "AboutToShow", "i", 0);
        call(program.item, menu.c_str(), "com.canonical.dbusmenu", "Event", "isvu", 0, "opened", "i", 0, 0U);
        ::usleep(5000);
        call(program.item, menu.c_str(), "com.canonical.dbusmenu", "Event", "isvu", 0, "closed", "i", 0, 0U);
        ::usleep(5000);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) give("usage: bench-resident LARKMOOR GTK QT [REST_SECONDS]");
    const int seconds = argc > 4 ? std::atoi(argv[4]) : 60;
    if (sd_bus_open_user(&bus) < 0) give("no session bus");
    std::printf("%-34s %8s %9s %9s %9s %8s %8s\n", "", "reg. ms", "RSS MB", "PSS MB", "private", "threads", "wake-ups");
    end(measure("GTK 3, ayatana-appindicator", argv[2], seconds));
    end(measure("Qt 6, QSystemTrayIcon", argv[3], seconds));
    const Program larkmoor = measure("larkmoor-menubar", argv[1], seconds);
    work(larkmoor);
    rest(larkmoor.process, "  after 2880 refreshes, 200 menus", "", seconds);
    end(larkmoor);
    return 0;
}

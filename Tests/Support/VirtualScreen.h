// An X screen of a test's own, with nobody at it but the test's hands.
#pragma once

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "LarkmoorPlatform/FileDescriptor.h"
#include "Support/ChildProcess.h"

namespace larkmoor::testing {

class VirtualScreen {
  public:
    /// The tools that this machine lacks for it; empty if it has them.
    static std::string missingTools() {
        std::string missing;
        for (const std::string tool : {"Xvfb", "xdotool"}) {
            if (run("command -v " + tool) != 0) missing += " " + tool;
        }
        return missing;
    }

    VirtualScreen() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        const FileDescriptor told{ends[0]};
        {
            const FileDescriptor telling{ends[1]};
            server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(telling.get()), "-screen",
                                                     "0", "800x600x24", "-nolisten", "tcp"},
                            std::map<std::string, std::string>{}, telling.get());
        }
        for (char letter = 0; ::read(told.get(), &letter, 1) == 1 && letter != '\n';) display_ += letter;
        if (display_.empty()) throw std::runtime_error("Xvfb did not start");
        display_.insert(display_.begin(), ':');
    }

    const std::string& display() const { return display_; }

    /// How many windows of the title can be seen.
    int windows(const std::string& title) const {
        const std::string search = "xdotool search --onlyvisible --name '^" + title + "$' 2>/dev/null";
        return run("exit $(" + command(search) + " | wc -l)");
    }

    /// As xdotool names them.
    void press(const std::string& keys) const { run(command("xdotool key " + keys)); }

  private:
    std::string command(const std::string& words) const { return "DISPLAY=" + display_ + " " + words; }

    static int run(const std::string& script) { return ChildProcess{{"/bin/sh", "-c", script + " >/dev/null"}}.wait(); }

    std::string display_;
    std::optional<ChildProcess> server_;
};

}  // namespace larkmoor::testing

// The model host's understudy on a free port, with a store and a log of its own. A test's target defines
// LARKMOOR_UNDERSTUDY_OLLAMA as the path of larkmoor-understudy-ollama.
#pragma once

#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <thread>

#include "LarkmoorBase/FileDescriptor.h"
#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {

class UnderstudyOllama {
  public:
    /// `scenario` as "ollama --help" explains it.
    explicit UnderstudyOllama(std::string_view scenario = "{}") { start(scenario); }

    /// "127.0.0.1:{port}", the same after a restart.
    const std::string& address() const { return address_; }
    std::string endpoint() const { return "http://" + address_; }

    /// A root whose subfolder "models" is the store; both may be missing until something is downloaded.
    std::string root() const { return folder_.path().string(); }
    std::string store() const { return folder_ / "models"; }

    /// The lines of its log so far, of all starts.
    std::vector<std::string> events() const {
        std::vector<std::string> lines;
        std::ifstream file{folder_ / "log"};
        for (std::string line; std::getline(file, line);) lines.push_back(line);
        return lines;
    }

    /// When the last event of this kind happened, in seconds of the real-time clock; it may be about to be written.
    /// Nothing if the log holds none after ten seconds.
    std::optional<double> timeOf(const std::string& event) const {
        for (int tries = 0; tries < 1000; ++tries) {
            std::optional<double> time;
            for (const std::string& line : events()) {
                if (line.find("\"event\":\"" + event + "\"") != std::string::npos)
                    time = std::stod(line.substr(line.find(':') + 1));
            }
            if (time) return time;
            std::this_thread::sleep_for(std::chrono::milliseconds{10});
        }
        return std::nullopt;
    }

    pid_t pid() const { return process_->pid(); }
    void kill() { process_->kill(); }

    /// Starts it again on the same store and port, after it has exited or been killed.
    void start(std::string_view scenario) {
        std::ofstream{folder_ / "scenario"} << scenario;
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        const FileDescriptor told{ends[0]};
        {
            const FileDescriptor telling{ends[1]};
            process_.emplace(
                std::vector<std::string>{
                    "/bin/sh", "-c",
                    "exec \"$0\" serve --scenario \"$1\" --log \"$2\" >/proc/self/fd/" + std::to_string(telling.get()),
                    LARKMOOR_UNDERSTUDY_OLLAMA, folder_ / "scenario", folder_ / "log"},
                std::map<std::string, std::string>{{"OLLAMA_HOST", address_}, {"OLLAMA_MODELS", store()}},
                telling.get());
        }
        std::string line;
        for (char letter = 0; ::read(told.get(), &letter, 1) == 1 && letter != '\n';) line += letter;
        constexpr std::string_view promise = "listening on ";
        if (!line.starts_with(promise)) throw std::runtime_error("the understudy of the model host did not start");
        address_ = line.substr(promise.size());
    }

  private:
    TemporaryFolder folder_;
    std::string address_ = "127.0.0.1:0";
    std::optional<ChildProcess> process_;
};

}  // namespace larkmoor::testing

// One download of 2 GB of progress lines against curl, which throws the same stream away; the memory that it takes and
// the longest turn of the main loop meanwhile; and a file's digest against openssl's. Started by Benchmarks/models/run.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "LarkmoorBase/SHA256.h"
#include "LarkmoorLocalModels/Pull/PullOnce.h"
#include "LarkmoorPlatform/Linux/HTTP/LoopbackHTTPClient.h"
#include "Statistics.h"

namespace larkmoor {
namespace {

using namespace bench;
using Clock = std::chrono::steady_clock;
constexpr int rounds = 5;
constexpr double streamGigabytes = 2;

double seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

template <class F>
double timeOf(F work) {
    const auto start = Clock::now();
    work();
    return seconds(Clock::now() - start);
}

void runTool(const std::string& command) {
    if (std::system(command.c_str()) != 0) give("failed: " + command);
}

std::int64_t memory(const std::string& field) {
    std::ifstream status{"/proc/self/status"};
    for (std::string word; status >> word;) {
        if (std::int64_t kilobytes = 0; word == field + ":" && status >> kilobytes) return kilobytes;
    }
    give("no " + field);
}

struct Turns {
    double longest = 0, longestOnProcessor = 0;  ///< in seconds
};

class Puller {
  public:
    explicit Puller(std::string endpoint) : host_{.http = &http_, .endpoint = std::move(endpoint)} {}

    const std::string& endpoint() const { return host_.endpoint; }

    void pull(const std::string& model) {
        start(model);
        loop_.run();
    }

    /// Looks at each turn of the loop by itself, and so keeps the processor busy.
    Turns pullInTurns(const std::string& model) {
        start(model);
        Turns turns;
        while (!loop_.stopped()) {
            const auto began = Clock::now();
            const double onProcessor = threadSeconds();
            if (loop_.poll_one() == 0) continue;
            turns.longest = std::max(turns.longest, seconds(Clock::now() - began));
            turns.longestOnProcessor = std::max(turns.longestOnProcessor, threadSeconds() - onProcessor);
        }
        return turns;
    }

  private:
    void start(const std::string& model) {
        loop_.restart();
        boost::asio::co_spawn(loop_,
                              pullOnce(
                                  host_, model, [](Transfer) {}, [](const std::string&) {}),
                              [this](const std::exception_ptr& escaped, std::expected<void, SetupError> pulled) {
                                  if (escaped || !pulled) give(pulled ? "thrown" : pulled.error().message);
                                  loop_.stop();
                              });
    }

    MainLoop loop_{1};
    LoopbackHTTPClient http_{loop_};
    ModelHost host_;
};

/// First, since what is resident before any download is the measure.
void measureRest(Puller& puller) {
    // 5 sets the high-water mark back to what is resident now.
    std::ofstream{"/proc/self/clear_refs"} << 5;
    const std::int64_t rest = memory("VmRSS");
    const Turns turns = puller.pullInTurns("usual");
    fmt::print("memory   {} KB at rest, at most {} KB more during 2 GB (allowed: 2048)\n", rest,
               memory("VmHWM") - rest);
    fmt::print("loop     longest turn {:.2f} ms, {:.2f} ms of it on the processor (allowed: 5)\n", turns.longest * 1e3,
               turns.longestOnProcessor * 1e3);
}

/// Lines of the usual length come ten million at a time here; no host sends a hundred in a second.
void measurePull(Puller& puller, const std::string& model) {
    const std::string curl =
        fmt::format("curl -sf -o /dev/null -X POST -d '{{\"name\":\"{}\"}}' {}/api/pull", model, puller.endpoint());
    std::vector<double> ours, theirs;
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(timeOf([&] { puller.pull(model); }));
        theirs.push_back(timeOf([&] { runTool(curl); }));
    }
    fmt::print("pull     {} lines: {:.2f} GB/s, curl {:.2f} GB/s: {:.2f} of it (wanted: 0.90)\n", model,
               streamGigabytes / median(ours), streamGigabytes / median(theirs), median(theirs) / median(ours));
}

void measureDigest(const std::string& folder) {
    const std::string path = folder + "/blob";
    runTool("head -c 1G /dev/urandom >" + path);
    std::vector<double> ours, theirs;
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(timeOf([&] {
            if (!SHA256::ofFile(path)) give("no digest");
        }));
        theirs.push_back(timeOf([&] { runTool("openssl dgst -sha256 " + path + " >/dev/null"); }));
    }
    constexpr double gigabytes = 1.073741824;
    fmt::print("digest   {:.2f} GB/s, openssl {:.2f} GB/s: {:.2f} of it (wanted: 0.85)\n", gigabytes / median(ours),
               gigabytes / median(theirs), median(theirs) / median(ours));
}

}  // namespace
}  // namespace larkmoor

int main(int count, char** arguments) {
    if (count != 3) larkmoor::bench::give("usage: bench-models ENDPOINT FOLDER");
    larkmoor::Puller puller{arguments[1]};
    larkmoor::measureRest(puller);
    for (const char* model : {"usual", "long"}) larkmoor::measurePull(puller, model);
    larkmoor::measureDigest(arguments[2]);
}

// An update of 200 MB on its way: its download against curl, what it takes to prove it, and the time in which no
// application would start. Started by Benchmarks/update/run.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "LarkmoorMenuApp/Update/Appcast/BundleExchange.h"
#include "LarkmoorPlatform/Linux/Fetch/HelperFetch.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "LarkmoorPlatform/Linux/Signatures/HelperSignatures.h"
#include "Statistics.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;

using namespace bench;
using Clock = std::chrono::steady_clock;

constexpr int rounds = 7;

double milliseconds(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

template <class Result>
void runToEnd(MainLoop& loop, Task<std::expected<Result, std::string>> task) {
    std::string failed = "no end";
    boost::asio::co_spawn(loop, std::move(task), [&failed](const std::exception_ptr&, const auto& result) {
        failed = result ? "" : result.error();
    });
    loop.restart();
    loop.run();
    if (!failed.empty()) give(failed);
}

Task<std::expected<std::int64_t, std::string>> download(Fetch& fetch, std::string url, std::string file) {
    const auto end = co_await fetch.fetch({.url = std::move(url),
                                           .target = FetchTargets::NewFile{std::move(file)},
                                           .maxBytes = std::int64_t{1} << 32U,
                                           .allowsHTTP = true},
                                          {}, {});
    if (!end) co_return std::unexpected{end.error().reason};
    co_return *end;
}

void compareDownloads(const std::string& helpers, const std::string& folder, const std::string& base) {
    MainLoop loop{1};
    SpawningProcessRunner runner{loop};
    HelperFetch fetch{runner, {.helper = helpers + "/larkmoor-fetch", .build = LARKMOOR_BUILD}};
    const std::string url = base + "/archive";
    std::vector<double> ours, theirs;
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(milliseconds([&] { runToEnd(loop, download(fetch, url, folder + "/ours")); }));
        theirs.push_back(milliseconds([&] {
            if (std::system(fmt::format("curl -so {}/theirs {}", folder, url).c_str()) != 0) give("no curl");
        }));
    }
    fmt::print("download of {:.0f} MB: {:.0f} ms, curl -o {:.0f} ms, ratio {:.2f}\n",
               static_cast<double>(fs::file_size(folder + "/ours")) / 1e6, median(ours), median(theirs),
               median(ours) / median(theirs));
}

Task<Signatures::Verdict> proof(HelperSignatures& signatures, std::string bundle, std::string key) {
    const auto proven = co_await signatures.verifyBundle(std::move(bundle), std::move(key), {});
    if (!proven) co_return std::unexpected{proven.error().words};
    co_return Signatures::Verdict{};
}

void measureProofs(const std::string& helpers, const std::string& bundle, const std::string& key) {
    MainLoop loop{1};
    SpawningProcessRunner runner{loop};
    HelperSignatures signatures{runner, {.helper = helpers + "/larkmoor-verify", .build = LARKMOOR_BUILD}};
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        times.push_back(milliseconds([&] { runToEnd(loop, proof(signatures, bundle, key)); }));
    }
    fmt::print("proof that the bundle is whole: {:.0f} ms\n", median(times));
}

/// Opens a program over and over, and tells how long that failed at a stretch.
class Starts {
  public:
    explicit Starts(std::string program) : program_(std::move(program)) {}

    void print() {
        looking_.request_stop();
        looking_.join();
        fmt::print("its program could not be opened meanwhile for {:.2f} ms at worst, in {} attempts\n", longest_,
                   attempts_);
    }

  private:
    void look(const std::stop_token& stop) {
        for (auto lastOpened = Clock::now(); !stop.stop_requested(); ++attempts_) {
            const auto before = Clock::now();
            if (const FileDescriptor file{::open(program_.c_str(), O_RDONLY | O_CLOEXEC)}; file) {
                lastOpened = Clock::now();
            } else {
                longest_ = std::max(longest_, std::chrono::duration<double, std::milli>(before - lastOpened).count());
            }
        }
    }

    const std::string program_;
    double longest_ = 0;
    long attempts_ = 0;
    std::jthread looking_{[this](const std::stop_token& stop) { look(stop); }};
};

/// From the first call to the last.
void measureExchange(const std::string& bundle) {
    const UpdatePlaces places{bundle};
    fs::create_directory(places.folder);
    fs::copy(bundle, places.staged(), fs::copy_options::recursive);
    std::vector<double> times;
    Starts starts{bundle + "/Contents/MacOS/1"};
    for (int round = 0; round < 10 * rounds; ++round) {
        times.push_back(milliseconds([&] {
            if (const auto done = BundleExchange::exchange(places, "1", "2"); !done) give(done.error());
        }));
        ::unlink(places.record().c_str());
    }
    fmt::print("exchange of a 200 MB bundle, its record included: {:.2f} ms, at worst {:.2f} ms\n", median(times),
               *std::ranges::max_element(times));
    starts.print();
    fs::remove_all(places.folder);
}

}  // namespace
}  // namespace larkmoor

int main(int count, char** words) {
    if (count != 5) larkmoor::bench::give("started by Benchmarks/update/run");
    const std::string folder = words[2], bundle = folder + "/bundle/X.app";
    larkmoor::compareDownloads(words[1], folder, words[3]);
    larkmoor::measureProofs(words[1], bundle, words[4]);
    larkmoor::measureExchange(bundle);
}

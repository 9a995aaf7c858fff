// The menu-bar application. Its command line tells what it is, starts it, or takes back what it registered.
#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LarkmoorKit/Menu/MenuLabels.h"
#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorMenuApp/Main/Registrations.h"
#include "LarkmoorMenuApp/Main/Successor.h"
#include "LarkmoorPlatform/PlatformLog.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace {

constexpr const char* usage =
    "usage: larkmoor-menubar [--version | --help | --registered | --unregister]\n"
    "Shows Larkmoor in the desktop's system tray. Needs a session bus; a second start brings up the first.\n"
    "\n"
    "--registered lists the files by which your session starts Larkmoor and what it keeps running. --unregister\n"
    "ends all that and removes them; the next start registers anew. Memories and settings files stay as they are.\n"
    "What cannot be ended or removed is told, and the exit status is 1.\n";

int print(std::FILE* stream, const std::string& text, int status) {
    return std::fputs(text.c_str(), stream) >= 0 && std::fflush(stream) == 0 ? status : 1;
}

int tellVersion() {
    const auto bundle = larkmoor::RunningBundle::current();
    const auto title =
        larkmoor::MenuHeaderTitle::title(larkmoor::ClientInstance::productName, bundle.version, bundle.build);
    return print(stdout, title + "\n", 0);
}

std::string lines(const std::vector<std::string>& texts) {
    return texts.empty() ? "" : fmt::format("{}\n", fmt::join(texts, "\n"));
}

int unregister() {
    const auto left = larkmoor::Registrations{larkmoor::RunningBundle::current()}.remove();
    return print(stderr, lines(left), left.empty() ? 0 : 1);
}

/// Asked before there is an application, so that it has a loop of its own.
larkmoor::Signatures::BundleVerdict proveStaged(const larkmoor::RunningBundle& ours, const std::string& staged) {
    larkmoor::MainLoop loop{1};
    larkmoor::SpawningProcessRunner runner{loop};
    larkmoor::HelperSignatures signatures{runner,
                                          {.helper = ours.beside("larkmoor-verify"),
                                           .build = ours.build.value_or(""),
                                           .updateBudget = std::chrono::minutes{1}}};
    larkmoor::platformLog("[larkmoor-menu] an update waits: its seal is looked at before it takes our place");
    using Verdict = larkmoor::Signatures::BundleVerdict;
    Verdict proven = std::unexpected{
        larkmoor::Signatures::Objection{.words = "its seal could not be looked at", .isVerdict = false}};
    boost::asio::co_spawn(loop, signatures.verifyBundle(staged, ours.publicKey.value_or(""), {}),
                          [&proven](const std::exception_ptr& thrown, Verdict verdict) {
                              if (!thrown) proven = std::move(verdict);
                          });
    loop.run();
    return proven;
}

/// A new build that hangs before its menu must not be the last application that this person has had.
void endUnlessUp(bool isTried) {
    constexpr unsigned slice = larkmoor::Successor::patience / std::chrono::seconds{larkmoor::Successor::slices};
    static volatile std::sig_atomic_t left = larkmoor::Successor::slices;
    std::signal(SIGALRM, [](int) {
        left = left - 1;
        if (left > 0) return static_cast<void>(::alarm(slice));
        constexpr std::string_view words = "[larkmoor-menu] this update did not come up — ending\n";
        static_cast<void>(::write(STDERR_FILENO, words.data(), words.size()));
        ::_exit(1);
    });
    // Whoever started us may block it, which is inherited.
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
    ::alarm(isTried ? slice : 0);
}

/// The exit status.
int run(char** arguments) {
    // Else the first large answer makes the allocator keep the memory of later ones: 40 MB after half an hour of them.
    ::mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    // Whoever started us may ignore it, which is inherited; the ends of our own programs would be lost.
    std::signal(SIGCHLD, SIG_DFL);
    // The threads are few and live for seconds: arenas of their own would keep 90 KB.
    ::mallopt(M_ARENA_MAX, 1);
    // Read once, before an update can put another file in its place.
    const auto bundle = larkmoor::RunningBundle::current();
    // Or it has done so already, while this process was being loaded.
    if (const auto present = larkmoor::UpdatePlaces::inBundle(bundle.executable))
        return larkmoor::Successor::become(*present, arguments);
    auto settled =
        larkmoor::BundleExchange::settle(larkmoor::UpdatePlaces{bundle.folder},
                                         [&bundle](const std::string& staged) { return proveStaged(bundle, staged); });
    const larkmoor::Successor successor{.executable = bundle.executable, .bundle = bundle.folder};
    if (settled.isGivenBack) {
        larkmoor::platformLog("[larkmoor-menu] the update did not come up; the old bundle is put back");
        return larkmoor::Successor::become(bundle.executable, arguments);
    }
    if (settled.isExchanged) return successor.start(arguments);
    // By another launch while this one waited for it.
    if (larkmoor::runningExecutable() != bundle.executable)
        return larkmoor::Successor::become(bundle.executable, arguments);
    if (!settled.refusal.empty()) {
        larkmoor::platformLog("[larkmoor-menu] the update was not put in place: " + settled.refusal);
    }
    // Its watcher may be gone, or there was none.
    endUnlessUp(static_cast<bool>(settled.lock));
    auto application =
        std::make_unique<larkmoor::Application>(bundle, std::move(settled.lock), !settled.refusal.empty());
    const int status = application->run();
    const bool isWantedAgain = application->isWantedAgain(), isSuperseded = application->isSuperseded();
    application.reset();
    if (isSuperseded) return larkmoor::Successor::becomeUnwatched(bundle.executable, arguments);
    return isWantedAgain ? successor.start(arguments) : status;
}

}  // namespace

int main(int count, char** arguments) {
    constexpr int wrongUsage = 2;
    const std::vector<std::string> options(arguments + (count > 0 ? 1 : 0), arguments + count);
    if (options.empty()) return run(arguments);
    if (options == std::vector<std::string>{"--version"}) return tellVersion();
    if (options == std::vector<std::string>{"--help"}) return print(stdout, usage, 0);
    if (options == std::vector<std::string>{"--unregister"}) return unregister();
    if (options == std::vector<std::string>{"--registered"}) {
        return print(stdout, lines(larkmoor::Registrations{larkmoor::RunningBundle::current()}.files()), 0);
    }
    constexpr std::array known{"--version", "--help", "--registered", "--unregister"};
    const bool isKnown = std::ranges::find(known, options[0]) != known.end();
    print(stderr, "larkmoor-menubar: unknown option " + options[isKnown ? 1 : 0] + "\n", wrongUsage);
    return print(stderr, usage, wrongUsage);
}

#include "LarkmoorMenuApp/Main/Successor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <functional>
#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorMenuApp/Update/Appcast/BundleExchange.h"
#include "LarkmoorPlatform/Linux/Processes/SystemProcess.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

using Clock = std::chrono::steady_clock;
using PutBack = Folders::Done (*)(const UpdatePlaces&);

constexpr std::array endSignals{SIGTERM, SIGINT, SIGHUP};

/// `how` is that of sigprocmask.
void setEndSignals(int how) {
    sigset_t ends;
    sigemptyset(&ends);
    for (const int number : endSignals) sigaddset(&ends, number);
    ::pthread_sigmask(how, &ends, nullptr);
}

/// Whether one of them waits for that process to listen.
bool isToldToEnd(Int process) {
    constexpr std::string_view name = "\nShdPnd:\t";
    const auto status = Files::read(fmt::format("/proc/{}/status", process));
    const std::string_view text = status ? asText(*status) : std::string_view{};
    const std::size_t found = text.find(name);
    if (found == std::string_view::npos) return false;
    std::uint64_t pending = 0;
    std::from_chars(text.data() + found + name.size(), text.data() + text.size(), pending, 16);
    return std::ranges::any_of(endSignals, [&](int number) { return (pending >> (number - 1) & 1U) != 0; });
}

bool isReadable(const FileDescriptor& file, std::chrono::milliseconds within = {}) {
    pollfd news{.fd = file.get(), .events = POLLIN, .revents = 0};
    return ::poll(&news, 1, static_cast<int>(within.count())) > 0;
}

/// Tells the watcher what became of our exec: it is closed by one that succeeds, and by our death.
struct ExecPipe {
    FileDescriptor reading, writing;

    static ExecPipe make() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {};
        return {.reading = FileDescriptor{ends[0]}, .writing = FileDescriptor{ends[1]}};
    }
    void tellThatItFailed() const { static_cast<void>(::write(writing.get(), "", 1)); }
};

/// Runs the work in a process that is nobody's child, since the successor would not expect one. False if the system
/// starts none.
bool runApart(const std::function<int()>& work) {
    const pid_t between = ::fork();
    if (between == 0) {
        const pid_t apart = ::fork();
        ::_exit(apart == 0 ? work() : apart < 0);
    }
    int status = -1;
    while (between > 0 && ::waitpid(between, &status, 0) < 0 && errno == EINTR) {
    }
    return between > 0 && status == 0;
}

/// False if that cannot be done, which is logged.
bool putBack(const UpdatePlaces& places, PutBack done, const char* why) {
    platformLog(fmt::format("[larkmoor-menu] {}; the old bundle is put back", why));
    // A process that was just killed may not be gone, and a check of another session holds it for a moment.
    FileDescriptor lock = Folders::lock(places.folder);
    for (int tries = 0; tries < 40 && !lock; ++tries) {
        ::usleep(50'000);
        lock = Folders::lock(places.folder);
    }
    const Folders::Done back = lock ? done(places) : std::unexpected{std::string{"it is in use"}};
    if (!back) platformLog("[larkmoor-menu] the old bundle could not be put back: " + back.error());
    return back.has_value();
}

enum class News { isUp, unneeded, untried, failed, notBegun };

/// The watcher, in a process of its own.
class Watcher {
  public:
    Watcher(const UpdatePlaces& places, pid_t process, FileDescriptor descriptor, FileDescriptor exec)
        : places_(places),
          process_(process),
          descriptor_(std::move(descriptor)),
          exec_(std::move(exec)),
          folder_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        ::inotify_add_watch(folder_.get(), places.folder.c_str(), IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF);
    }

    /// What becomes of the process. One that ends while another is about the exchange is not the last word.
    News watch(Clock::duration limit) {
        const Clock::duration slice = limit / Successor::slices;
        Clock::duration deafAt{};  // what was left when that began
        for (Clock::duration left = limit;; left -= waitForNews(std::min(left, slice))) {
            hasEnded_ = isReadable(descriptor_);
            const auto standing = BundleExchange::record(places_);
            if (!standing) return News::isUp;
            if (hasFailedToBegin()) return News::notBegun;
            if (hasEnded_ && standing->unneeded == process_) return News::unneeded;
            if (hasEnded_ && standing->untried == process_) return News::untried;
            if (left <= Clock::duration::zero() || (hasEnded_ && Folders::lock(places_.folder))) return News::failed;
            deafAt = isDeaf() ? std::max(deafAt, left) : Clock::duration{};
            if (deafAt - left >= slice) return News::failed;
        }
    }

    /// Whether it was told to end, and has not heard it.
    bool isDeaf() const { return !hasEnded_ && isToldToEnd(process_); }

    void kill() const {
        constexpr std::chrono::seconds patience{5};
        ::pidfd_send_signal(descriptor_.get(), SIGKILL, nullptr, 0);
        isReadable(descriptor_, patience);
    }

  private:
    bool hasFailedToBegin() {
        char failed{};
        if (!exec_ || !isReadable(exec_)) return false;
        if (::read(exec_.get(), &failed, 1) == 1) return true;
        exec_.reset();
        return false;
    }

    /// Returns when the process has ended or begun, when something in the folder has gone, or after that time: how much
    /// of it is used up.
    Clock::duration waitForNews(Clock::duration slice) {
        // Nothing tells that another process has released the folder's lock.
        constexpr std::chrono::milliseconds afterEnd{200};
        if (hasEnded_) slice = std::min<Clock::duration>(slice, afterEnd);
        const auto begun = Clock::now();
        const auto wanted = [](int file) { return pollfd{.fd = file, .events = POLLIN, .revents = 0}; };
        std::array<pollfd, 3> news{wanted(folder_.get()), wanted(exec_ ? exec_.get() : -1),
                                   wanted(hasEnded_ ? -1 : descriptor_.get())};
        ::poll(news.data(), news.size(), static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(slice).count()));
        std::array<char, 4096> events{};
        if (news[0].revents != 0) static_cast<void>(::read(folder_.get(), events.data(), events.size()));
        return std::min(slice, Clock::now() - begun);
    }

    const UpdatePlaces& places_;
    const Int process_;
    const FileDescriptor descriptor_;  ///< of the process; readable once it has ended
    FileDescriptor exec_;              ///< until it has begun
    const FileDescriptor folder_;
    bool hasEnded_ = false;
};

/// The life of the watcher; its exit status.
int watchOver(const Successor& successor, Watcher watcher, const UpdatePlaces& places, char** arguments) {
    // Whoever ends us together with the new build must not keep the old bundle from its place.
    setEndSignals(SIG_BLOCK);
    const News news = watcher.watch(successor.limit);
    if (news == News::untried) {
        return putBack(places, BundleExchange::postpone, "the update could not be tried") ? 0 : 1;
    }
    if (news != News::failed) return 0;
    const bool isEndWanted = watcher.isDeaf();
    watcher.kill();
    if (isEndWanted)
        return putBack(places, BundleExchange::postpone, "the update did not hear that it is to end") ? 0 : 1;
    // What stands there is better than no application, even if that is the new build again.
    static_cast<void>(putBack(places, BundleExchange::giveBack, "the update did not come up"));
    return Successor::becomeUnwatched(successor.executable, arguments);
}

}  // namespace

int Successor::become(const std::string& executable, char** arguments) {
    ::execv(executable.c_str(), arguments);
    platformLog(fmt::format("[larkmoor-menu] cannot start {}: {}", executable, std::strerror(errno)));
    return 1;
}

int Successor::becomeUnwatched(const std::string& executable, char** arguments) {
    setEndSignals(SIG_UNBLOCK);
    return become(executable, arguments);
}

int Successor::start(char** arguments) const {
    const UpdatePlaces places{bundle};
    if (!BundleExchange::isInPlace(places)) return becomeUnwatched(executable, arguments);
    // Before there is a watcher, to which our death would be the new build's.
    setEndSignals(SIG_BLOCK);
    const pid_t process = ::getpid();
    FileDescriptor descriptor = processDescriptor(process);
    ExecPipe exec = ExecPipe::make();
    const bool isWatched =
        descriptor && exec.reading && runApart([&] {
            exec.writing.reset();
            return watchOver(*this, {places, process, std::move(descriptor), std::move(exec.reading)}, places,
                             arguments);
        });
    if (isWatched) static_cast<void>(become(executable, arguments));
    exec.tellThatItFailed();
    static_cast<void>(isWatched ? putBack(places, BundleExchange::giveBack, "the update cannot be started")
                                : putBack(places, BundleExchange::postpone, "nobody can watch over the update"));
    return becomeUnwatched(executable, arguments);
}

void Successor::holdEndSignals() { setEndSignals(SIG_BLOCK); }

void Successor::hearEndSignals() { setEndSignals(SIG_UNBLOCK); }

}  // namespace larkmoor

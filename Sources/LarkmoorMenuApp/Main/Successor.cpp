#include "LarkmoorMenuApp/Main/Successor.h"

#include <poll.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>

#include "LarkmoorMenuApp/Update/Appcast/BundleExchange.h"
#include "LarkmoorPlatform/Linux/Processes/SystemProcess.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

using Clock = std::chrono::steady_clock;

/// A child that was started and not yet reaped.
class Child {
  public:
    static std::optional<Child> start(const std::string& executable, char** arguments) {
        pid_t process = 0;
        const int failed = ::posix_spawn(&process, executable.c_str(), nullptr, nullptr, arguments, environ);
        if (failed == 0) return Child{process};
        platformLog("[larkmoor-menu] cannot start again: " + std::string{std::strerror(failed)});
        return std::nullopt;
    }

    /// Readable once it has ended.
    int descriptor() const { return descriptor_.get(); }
    bool isAlive() const { return process_ != 0; }
    /// The exit status, of a signal -1, once it has ended.
    std::optional<int> end() {
        int status = 0;
        if (process_ == 0 || ::waitpid(process_, &status, WNOHANG) != process_) return std::nullopt;
        process_ = 0;
        descriptor_.reset();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    void kill() {
        if (process_ == 0) return;
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
        process_ = 0;
    }

  private:
    explicit Child(pid_t process) : process_(process), descriptor_(processDescriptor(process)) {}

    pid_t process_;
    FileDescriptor descriptor_;
};

/// Returns when the child has ended, when something in the folder has gone, or at the deadline.
void waitForNews(const Child& child, const FileDescriptor& folder, Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    std::array<pollfd, 2> news{pollfd{.fd = folder.get(), .events = POLLIN, .revents = 0},
                               pollfd{.fd = child.descriptor(), .events = POLLIN, .revents = 0}};
    if (::poll(news.data(), news.size(), static_cast<int>(std::max<std::int64_t>(left.count() + 1, 0))) <= 0) return;
    std::array<char, 4096> events{};
    if (news[0].revents != 0) static_cast<void>(::read(folder.get(), events.data(), events.size()));
}

enum class News { isUp, ended, untried, failed };

/// What becomes of the child. One that fails while another process is about the exchange is not the last word.
News guard(Child& child, const UpdatePlaces& places, Clock::time_point deadline) {
    const FileDescriptor folder{::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)};
    ::inotify_add_watch(folder.get(), places.folder.c_str(), IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF);
    std::optional<int> end;
    while (BundleExchange::record(places)) {
        if (const auto status = child.end()) end = status;
        if (end == 0) return News::ended;
        if (end && Folders::lock(places.folder)) return end == Successor::untried ? News::untried : News::failed;
        if (Clock::now() >= deadline) return News::failed;
        waitForNews(child, folder, deadline);
    }
    return News::isUp;
}

}  // namespace

int Successor::start(char** arguments) const {
    const UpdatePlaces places{bundle};
    // By the quit before this start.
    if (BundleExchange::isArranged(places)) static_cast<void>(BundleExchange::settle(places));
    const bool isUpdate = BundleExchange::record(places).has_value();
    auto child = Child::start(executable, arguments);
    if (!isUpdate) return child ? 0 : 1;
    const News news = child ? guard(*child, places, Clock::now() + limit) : News::failed;
    if (news == News::isUp || news == News::ended) return 0;
    if (child) child->kill();
    platformLog(news == News::untried ? "[larkmoor-menu] the update could not be tried; the old bundle is put back"
                                      : "[larkmoor-menu] the update did not come up; the old bundle is put back");
    const FileDescriptor lock = Folders::lock(places.folder);
    const auto putBack = news == News::untried ? BundleExchange::postpone : BundleExchange::giveBack;
    const Folders::Done back = lock ? putBack(places) : std::unexpected{std::string{"it is in use"}};
    if (!back) {
        platformLog("[larkmoor-menu] the old bundle could not be put back: " + back.error());
        return 1;
    }
    return Child::start(executable, arguments) ? 0 : 1;
}

}  // namespace larkmoor

#include "LarkmoorPlatform/Linux/SpawningProcessRunner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/async_result.hpp>
#include <boost/asio/posix/basic_stream_descriptor.hpp>
#include <boost/asio/post.hpp>

#include <cerrno>
#include <utility>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Linux/ProcessChannels.h"

namespace larkmoor {

namespace {

using Executor = MainLoop::executor_type;
using Descriptor = boost::asio::posix::basic_stream_descriptor<Executor>;

std::vector<std::string> lines(const ProcessEnvironment& environment) {
    std::vector<std::string> lines;
    for (char** line = environ; environment.isInherited && *line != nullptr; ++line) {
        const std::string_view text{*line};
        if (!environment.changes.contains(std::string{text.substr(0, text.find('='))})) lines.emplace_back(text);
    }
    for (const auto& [name, value] : environment.changes) {
        if (value) lines.push_back(name + "=" + *value);
    }
    return lines;
}

/// A program under way. What waits for its end on the loop keeps it; the rest only looks whether it is there.
class Run : public std::enable_shared_from_this<Run> {
  public:
    using Ended = std::function<void(ProcessResult)>;

    Run(MainLoop& loop, SpawnedProcess process, ProcessChannels channels, std::function<void(BytesView)> listener)
        : process_(std::move(process)),
          channels_(std::move(channels)),
          listener_(std::move(listener)),
          ended_(loop),
          told_(loop),
          timer_(loop) {}

    /// Lets the loop watch the program; without that there is no run.
    std::expected<void, FileError> watch(const std::string& executable) {
        boost::system::error_code failed;
        // The loop closes what it watches.
        FileDescriptor ended{::fcntl(process_.descriptor(), F_DUPFD_CLOEXEC, 3)};
        if (!ended) return std::unexpected(FileError{executable, errno});
        give(std::move(ended), ended_, failed);
        if (FileDescriptor told = channels_.takeTold(); told && !failed) give(std::move(told), told_, failed);
        if (failed) return std::unexpected(FileError{executable, failed.value()});
        return {};
    }

    /// Told once how it ended, from the loop.
    void follow(std::chrono::milliseconds budget, Ended handler) {
        handler_ = std::move(handler);
        timer_.expires_after(budget);
        timer_.async_wait([self = weak_from_this()](boost::system::error_code failed) {
            if (const auto alive = self.lock(); alive && !failed) alive->end(ProcessEnds::TimedOut{});
        });
        if (told_.is_open()) awaitWords();
        ended_.async_wait(Descriptor::wait_read, [self = shared_from_this()](boost::system::error_code failed) {
            if (!failed) self->hasEnded();
        });
    }

    void end(ProcessEnd why) {
        if (!handler_ || reason_) return;
        reason_ = std::move(why);
        process_.endGroup();
        constexpr auto patience = std::chrono::seconds{2};
        timer_.expires_after(patience);
        timer_.async_wait([self = weak_from_this()](boost::system::error_code failed) {
            if (const auto alive = self.lock(); alive && !failed) alive->complete(*alive->reason_);
        });
    }

  private:
    static constexpr std::size_t mostAtOnce = 1 << 20;

    static void give(FileDescriptor file, Descriptor& place, boost::system::error_code& failed) {
        place.assign(file.get(), failed);
        if (!failed) static_cast<void>(file.release());
    }

    void hasEnded() {
        // Before the number can be anyone else's.
        process_.endGroup();
        const auto told = process_.reap();
        timer_.cancel();
        // Somebody else has waited for it, and has its status.
        if (!told) return complete(reason_.value_or(ProcessEnds::Exited{-1}));
        if (told->ending == SpawnedProcess::Ending::exited) return complete(ProcessEnds::Exited{told->number});
        if (reason_ && told->number == SIGKILL) return complete(*reason_);
        complete(ProcessEnds::Signalled{told->number});
    }

    void complete(ProcessEnd how) {
        if (!handler_) return;
        if (told_.is_open()) readWords();
        told_.close();
        const Ended handler = std::exchange(handler_, nullptr);
        handler({.end = std::move(how), .output = channels_.capturedOutput(), .errors = channels_.capturedErrors()});
    }

    void awaitWords() {
        told_.async_wait(Descriptor::wait_read, [self = weak_from_this()](boost::system::error_code failed) {
            const auto alive = self.lock();
            if (alive && !failed && alive->readWords()) alive->awaitWords();
        });
    }

    /// Whether more may come.
    bool readWords() {
        Bytes piece(65536);
        for (std::size_t held = 0; held < mostAtOnce;) {
            const ssize_t count = ::read(told_.native_handle(), piece.data(), piece.size());
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) return errno == EAGAIN;
            if (count == 0) return false;
            held += static_cast<std::size_t>(count);
            listener_(BytesView{piece}.first(static_cast<std::size_t>(count)));
        }
        return true;
    }

    SpawnedProcess process_;
    ProcessChannels channels_;
    const std::function<void(BytesView)> listener_;
    Descriptor ended_;
    Descriptor told_;
    MainTimer timer_;
    Ended handler_;                     ///< null once it was told
    std::optional<ProcessEnd> reason_;  ///< why we ended it, if we did
};

std::expected<std::shared_ptr<Run>, FileError> start(MainLoop& loop, ProcessRequest request) {
    auto channels = ProcessChannels::open(request);
    if (!channels) return std::unexpected(channels.error());
    auto process = SpawnedProcess::start(request.executable, std::move(request.arguments), lines(request.environment),
                                         channels->given());
    if (!process) return std::unexpected(process.error());
    channels->letGo();
    auto* told = std::get_if<ProcessOutputs::Told>(&request.output);
    auto run = std::make_shared<Run>(loop, std::move(*process), std::move(*channels),
                                     told == nullptr ? nullptr : std::move(told->listener));
    if (auto watched = run->watch(request.executable); !watched) return std::unexpected(watched.error());
    return run;
}

Task<ProcessResult> endOf(std::shared_ptr<Run> run, std::chrono::milliseconds budget) {
    const auto follow = [&run, budget](auto handler) {
        auto waiting = std::make_shared<decltype(handler)>(std::move(handler));
        // From here on the loop keeps the run, the run keeps this task, and the task must not keep the run.
        std::exchange(run, nullptr)->follow(budget, [waiting](ProcessResult result) {
            std::move (*waiting)(std::move(result));
        });
    };
    co_return co_await boost::asio::async_initiate<decltype(awaiting), void(ProcessResult)>(follow, awaiting);
}

/// Waits, for as long as the loop lives, so that no dead process is left lying.
void reapWhenEnded(MainLoop& loop, FileDescriptor process) {
    auto ended = std::make_shared<Descriptor>(loop);
    boost::system::error_code failed;
    ended->assign(process.get(), failed);
    if (failed) return;
    static_cast<void>(process.release());
    ended->async_wait(Descriptor::wait_read, [ended](boost::system::error_code stopped) {
        siginfo_t told{};
        if (!stopped) ::waitid(P_PIDFD, static_cast<id_t>(ended->native_handle()), &told, WEXITED | WNOHANG);
    });
}

}  // namespace

Task<ProcessResult> SpawningProcessRunner::run(ProcessRequest request, std::stop_token stop) {
    if (stop.stop_requested()) co_return ProcessResult{.end = ProcessEnds::Stopped{}};
    const auto budget = request.budget;
    auto started = start(loop_, std::move(request));
    if (!started) co_return ProcessResult{.end = ProcessEnds::NotStarted{std::move(started.error())}};
    const std::stop_callback onStop{stop, [&loop = loop_, run = std::weak_ptr{*started}] {
                                        boost::asio::post(loop, [run] {
                                            if (const auto alive = run.lock()) alive->end(ProcessEnds::Stopped{});
                                        });
                                    }};
    co_return co_await endOf(std::move(*started), budget);
}

std::expected<void, FileError> SpawningProcessRunner::launch(std::string executable, std::vector<std::string> arguments,
                                                             ProcessEnvironment environment) {
    ProcessRequest silent{.executable = {}, .budget = {}};
    const auto channels = ProcessChannels::open(silent);
    if (!channels) return std::unexpected(channels.error());
    auto process = SpawnedProcess::start(std::move(executable), std::move(arguments), lines(environment),
                                         channels->given(), SpawnedProcess::Leads::session);
    if (!process) return std::unexpected(process.error());
    reapWhenEnded(loop_, std::move(*process).letLive());
    return {};
}

}  // namespace larkmoor

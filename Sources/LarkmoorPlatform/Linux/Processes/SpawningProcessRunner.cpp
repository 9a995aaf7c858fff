#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/async_result.hpp>
#include <boost/asio/posix/basic_stream_descriptor.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Linux/Processes/ProcessChannels.h"

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

/// A running program. The wait for its end owns it; other callbacks hold it weakly.
class Run : public std::enable_shared_from_this<Run> {
  public:
    using Ended = std::function<void(ProcessResult)>;

    Run(MainLoop& loop, SpawnedProcess process, ProcessChannels channels, ProcessOutputs::Streamed streamed,
        bool outlivesUs)
        : process_(std::move(process)),
          outlivesUs_(outlivesUs),
          channels_(std::move(channels)),
          streamed_(std::move(streamed)),
          ended_(loop),
          stream_(loop),
          timer_(loop) {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run() {
        // One that could not be watched is killed: whoever asked believes that it never ran.
        if (outlivesUs_ && isFollowed_) static_cast<void>(std::move(process_).detach());
    }

    /// Registers the descriptors with the loop; a run cannot start without that.
    std::expected<void, FileError> watch(const std::string& executable) {
        boost::system::error_code failed;
        // The loop closes the descriptors that it watches.
        FileDescriptor ended{::fcntl(process_.descriptor(), F_DUPFD_CLOEXEC, 3)};
        if (!ended) return std::unexpected(FileError{executable, errno});
        assign(std::move(ended), ended_, failed);
        if (FileDescriptor stream = channels_.takeStream(); stream && !failed)
            assign(std::move(stream), stream_, failed);
        if (failed) return std::unexpected(FileError{executable, failed.value()});
        return {};
    }

    /// `handler` is called once, from the loop.
    void follow(std::chrono::milliseconds budget, Ended handler) {
        handler_ = std::move(handler);
        isFollowed_ = true;
        timer_.expires_after(budget);
        timer_.async_wait([self = weak_from_this()](boost::system::error_code failed) {
            if (const auto alive = self.lock(); alive && !failed) alive->kill(ProcessEnds::TimedOut{});
        });
        if (stream_.is_open()) awaitOutput();
        ended_.async_wait(Descriptor::wait_read, [self = shared_from_this()](boost::system::error_code failed) {
            if (!failed) self->onExit();
        });
    }

    void kill(ProcessEnd why) {
        if (!handler_ || reason_) return;
        reason_ = std::move(why);
        process_.killGroup();
        constexpr auto killTimeout = std::chrono::seconds{2};
        timer_.expires_after(killTimeout);
        timer_.async_wait([self = weak_from_this()](boost::system::error_code failed) {
            if (const auto alive = self.lock(); alive && !failed) alive->finish(*alive->reason_);
        });
    }

  private:
    enum class Reading { ended, emptied, interrupted };

    static void assign(FileDescriptor file, Descriptor& place, boost::system::error_code& failed) {
        place.assign(file.get(), failed);
        if (!failed) static_cast<void>(file.release());
    }

    void onExit() {
        // Before `reap`, after which the id may be reused.
        process_.killGroup();
        const auto status = process_.reap();
        timer_.cancel();
        // Somebody else has reaped it and has its status.
        if (!status) return finish(reason_.value_or(ProcessEnds::Exited{-1}));
        if (status->kind == SpawnedProcess::EndKind::exited) return finish(ProcessEnds::Exited{status->number});
        if (reason_ && status->number == SIGKILL) return finish(*reason_);
        finish(ProcessEnds::Signalled{status->number});
    }

    void finish(ProcessEnd how) {
        if (!handler_) return;
        // What the pipe still holds, in as many turns as it takes; a process outside the group may go on filling it.
        constexpr std::size_t maxPipe = std::size_t{1} << 20U;
        if (stream_.is_open() && rest_ < maxPipe && readOutput() == Reading::interrupted) {
            rest_ += streamed_.maxBytesPerTurn;
            return boost::asio::post(
                stream_.get_executor(),
                [self = shared_from_this(), how = std::move(how)]() mutable { self->finish(std::move(how)); });
        }
        stream_.close();
        const Ended handler = std::exchange(handler_, nullptr);
        handler({.end = std::move(how), .output = channels_.capturedOutput(), .errors = channels_.capturedErrors()});
    }

    void awaitOutput() {
        stream_.async_wait(Descriptor::wait_read, [self = weak_from_this()](boost::system::error_code failed) {
            const auto alive = self.lock();
            if (alive && !failed && alive->readOutput() != Reading::ended) alive->awaitOutput();
        });
    }

    Reading readOutput() {
        Bytes piece(std::min<std::size_t>(65536, streamed_.maxBytesPerTurn));
        for (std::size_t held = 0; held < streamed_.maxBytesPerTurn;) {
            const ssize_t count = ::read(stream_.native_handle(), piece.data(), piece.size());
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) return errno == EAGAIN ? Reading::emptied : Reading::ended;
            if (count == 0) return Reading::ended;
            held += static_cast<std::size_t>(count);
            streamed_.listener(BytesView{piece}.first(static_cast<std::size_t>(count)));
        }
        return Reading::interrupted;
    }

    SpawnedProcess process_;
    const bool outlivesUs_;
    bool isFollowed_ = false;
    ProcessChannels channels_;
    const ProcessOutputs::Streamed streamed_;
    Descriptor ended_;
    Descriptor stream_;
    MainTimer timer_;
    std::size_t rest_ = 0;              ///< read from the pipe since the program ended
    Ended handler_;                     ///< null once it was called
    std::optional<ProcessEnd> reason_;  ///< why we killed it, if we did
};

std::expected<std::shared_ptr<Run>, FileError> start(MainLoop& loop, ProcessRequest request) {
    auto channels = ProcessChannels::open(request);
    if (!channels) return std::unexpected(channels.error());
    request.arguments.insert(request.arguments.begin(), request.name.value_or(request.executable));
    auto process = SpawnedProcess::start(
        request.executable, std::move(request.arguments), lines(request.environment), channels->childEnds(),
        request.outlivesUs ? SpawnedProcess::EndSignals::blocked : SpawnedProcess::EndSignals::heard);
    if (!process) return std::unexpected(process.error());
    channels->closeChildEnds();
    auto* streamed = std::get_if<ProcessOutputs::Streamed>(&request.output);
    auto run = std::make_shared<Run>(loop, std::move(*process), std::move(*channels),
                                     streamed == nullptr ? ProcessOutputs::Streamed{} : std::move(*streamed),
                                     request.outlivesUs);
    if (auto watched = run->watch(request.executable); !watched) return std::unexpected(watched.error());
    return run;
}

Task<ProcessResult> endOf(std::shared_ptr<Run> run, std::chrono::milliseconds budget) {
    const auto follow = [&run, budget](auto handler) {
        auto waiting = std::make_shared<decltype(handler)>(std::move(handler));
        // The loop owns the run and the run owns this task: the task must not own the run.
        std::exchange(run, nullptr)->follow(budget, [waiting](ProcessResult result) {
            std::move (*waiting)(std::move(result));
        });
    };
    co_return co_await boost::asio::async_initiate<decltype(awaiting), void(ProcessResult)>(follow, awaiting);
}

}  // namespace

Task<ProcessResult> SpawningProcessRunner::run(ProcessRequest request, std::stop_token stop) {
    if (stop.stop_requested()) co_return ProcessResult{.end = ProcessEnds::Stopped{}};
    const auto budget = request.budget;
    auto started = start(loop_, std::move(request));
    if (!started) co_return ProcessResult{.end = ProcessEnds::NotStarted{std::move(started.error())}};
    const std::stop_callback onStop{stop, [&loop = loop_, run = std::weak_ptr{*started}] {
                                        boost::asio::post(loop, [run] {
                                            if (const auto alive = run.lock()) alive->kill(ProcessEnds::Stopped{});
                                        });
                                    }};
    co_return co_await endOf(std::move(*started), budget);
}

std::expected<void, FileError> SpawningProcessRunner::launch(std::string executable, std::vector<std::string> arguments,
                                                             ProcessEnvironment environment) {
    ProcessRequest silent{.executable = {}, .budget = {}};
    const auto channels = ProcessChannels::open(silent);
    if (!channels) return std::unexpected(channels.error());
    arguments.insert(arguments.begin(), executable);
    return SpawnedProcess::startApart(executable, std::move(arguments), lines(environment), channels->childEnds());
}

}  // namespace larkmoor

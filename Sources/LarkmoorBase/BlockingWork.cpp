#include "LarkmoorBase/BlockingWork.h"

#include <elf.h>
#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <boost/asio/async_result.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <span>
#include <utility>

#include "LarkmoorBase/ThreadWithoutSignals.h"

namespace larkmoor {

namespace {

constexpr auto maxWaitAtEnd = std::chrono::seconds{2};

/// Gives back what a process holds after work and does not need at rest: freed memory that the allocator keeps, and the
/// pages of the program itself, of which few run at rest; those come back from the page cache. Takes about a
/// millisecond.
void returnMemory() {
    ::malloc_trim(0);
    ::dl_iterate_phdr(
        [](dl_phdr_info* program, std::size_t, void*) {
            for (const auto& segment : std::span{program->dlpi_phdr, program->dlpi_phnum}) {
                if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0) continue;
                const auto pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
                const std::uintptr_t begin = program->dlpi_addr + segment.p_vaddr;
                const std::uintptr_t page = begin - begin % pageSize;
                ::madvise(reinterpret_cast<void*>(page), begin + segment.p_memsz - page, MADV_DONTNEED);
            }
            return 1;  // the libraries' pages are shared with other processes
        },
        nullptr);
}

}  // namespace

/// What the threads share. It lives as long as the last of them, which may be longer than the loop.
struct BlockingWorkers::Shared : std::enable_shared_from_this<Shared> {
    struct Job {
        std::uint64_t number;
        std::function<void()> work;
    };

    mutable std::mutex mutex;
    std::condition_variable wake;
    std::condition_variable rest;  ///< notified when a thread becomes idle or ends
    // Guarded by `mutex`, as is every use of `owner` by a thread.
    std::deque<Job> queue;
    std::size_t threads = 0;
    std::size_t idle = 0;
    BlockingWorkers* owner;  ///< null once the loop is ending

    const std::chrono::milliseconds maxIdle;

    Shared(BlockingWorkers& workers, std::chrono::milliseconds idle) : owner(&workers), maxIdle(idle) {}

    void serve() {
        std::unique_lock lock{mutex};
        for (;;) {
            ++idle;
            rest.notify_all();
            wake.wait_for(lock, maxIdle, [this] { return owner == nullptr || !queue.empty(); });
            --idle;
            if (owner != nullptr && queue.empty() && threads == 1) {
                lock.unlock();
                returnMemory();
                lock.lock();
            }
            if (owner == nullptr || queue.empty()) break;
            Job job = std::move(queue.front());
            queue.pop_front();
            lock.unlock();
            std::exception_ptr thrown = perform(job);
            lock.lock();
            report(job.number, std::move(thrown));
        }
        --threads;
        rest.notify_all();
    }

    static std::exception_ptr perform(Job& job) {
        std::exception_ptr thrown;
        try {
            job.work();
        } catch (...) {
            thrown = std::current_exception();
        }
        // What the work captured is destroyed before its completion is reported.
        job.work = nullptr;
        return thrown;
    }

    /// Posts while the caller holds the lock, which `shutdown` takes too: so the loop is still there. The exception is
    /// moved, since its last reference must not be released on two threads at once.
    void report(std::uint64_t job, std::exception_ptr thrown) const {
        if (owner == nullptr) return;
        auto& loop = static_cast<MainLoop&>(owner->context());
        boost::asio::post(loop, [workers = owner, job, thrown = std::move(thrown)]() mutable {
            workers->complete(job, std::move(thrown));
        });
    }
};

BlockingWorkers::BlockingWorkers(boost::asio::execution_context& loop, std::chrono::milliseconds maxIdle)
    : service(loop), shared_(std::make_shared<Shared>(*this, maxIdle)) {}

BlockingWorkers::~BlockingWorkers() = default;

BlockingWorkers& BlockingWorkers::of(MainLoop& loop) { return boost::asio::use_service<BlockingWorkers>(loop); }

Task<void> BlockingWorkers::perform(std::function<void()> work) {
    using Token = boost::asio::use_awaitable_t<MainLoop::executor_type>;
    const auto start = [this, &work](auto handler) {
        // The guard keeps the loop running until the work has come back.
        auto& loop = static_cast<MainLoop&>(context());
        auto waiting =
            std::make_shared<std::pair<decltype(handler), boost::asio::executor_work_guard<MainLoop::executor_type>>>(
                std::move(handler), boost::asio::make_work_guard(loop));
        submit(std::move(work), [waiting](std::exception_ptr thrown) { std::move(waiting->first)(std::move(thrown)); });
    };
    co_await boost::asio::async_initiate<const Token, void(std::exception_ptr)>(start, Token{});
}

std::size_t BlockingWorkers::threads() const {
    const std::lock_guard lock{shared_->mutex};
    return shared_->threads;
}

void BlockingWorkers::submit(std::function<void()> work, Completion completion) {
    const std::uint64_t number = ++lastJob_;
    completions_.emplace(number, std::move(completion));
    std::exception_ptr refused;
    {
        const std::lock_guard lock{shared_->mutex};
        shared_->queue.push_back({.number = number, .work = std::move(work)});
        if (shared_->idle >= shared_->queue.size() || shared_->threads == maxThreads) {
            shared_->wake.notify_one();
            return;
        }
        ++shared_->threads;
        try {
            threadWithoutSignals([shared = shared_] { shared->serve(); }).detach();
        } catch (...) {
            // A running thread will take the job later; without one, it fails.
            if (--shared_->threads > 0) return;
            shared_->queue.pop_back();
            refused = std::current_exception();
        }
    }
    if (!refused) return;
    boost::asio::post(static_cast<MainLoop&>(context()), [this, number, refused] { complete(number, refused); });
}

void BlockingWorkers::complete(std::uint64_t job, std::exception_ptr thrown) {
    const auto found = completions_.find(job);
    if (found == completions_.end()) return;
    const Completion completion = std::move(found->second);
    completions_.erase(found);
    completion(std::move(thrown));
}

void BlockingWorkers::shutdown() {
    {
        std::unique_lock lock{shared_->mutex};
        shared_->owner = nullptr;
        shared_->queue.clear();
        shared_->wake.notify_all();
        shared_->rest.wait_for(lock, maxWaitAtEnd, [this] { return shared_->threads == 0; });
    }
    // Destroys the coroutines that waited, on this thread and while the loop's memory is still there.
    const auto ended = std::exchange(completions_, {});
}

}  // namespace larkmoor

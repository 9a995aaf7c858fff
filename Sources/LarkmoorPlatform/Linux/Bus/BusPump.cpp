#include "LarkmoorPlatform/Linux/Bus/BusPump.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <boost/asio/post.hpp>

#include <cerrno>
#include <system_error>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor {

namespace {

BusError errorOf(int code) {
    return {.name = std::string{BusErrorName::disconnected}, .message = std::generic_category().message(code)};
}

BusError errorOf(const sd_bus_error& error) {
    return {.name = error.name == nullptr ? std::string{BusErrorName::failed} : std::string{error.name},
            .message = error.message == nullptr ? std::string{} : std::string{error.message}};
}

bool isSameFile(int left, int right) {
    struct stat one{};
    struct stat other{};
    return ::fstat(left, &one) == 0 && ::fstat(right, &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

}  // namespace

/// A pending call, owned by its slot. The pump lists them because the library does not report every loss of the
/// connection to its callers.
struct BusPump::PendingCall {
    std::weak_ptr<BusPump> pump;
    Pending pending;
    std::list<PendingCall*>::iterator place;

    ~PendingCall() {
        if (const auto alive = pump.lock(); alive && pending.reply) alive->pending_.erase(place);
    }
};

BusPump::BusPump(MainLoop& loop) : loop_(loop), descriptor_(loop), timer_(loop) {}

BusPump::~BusPump() { close(); }

void BusPump::start(const std::string& address, bool isBus) {
    int step = sd_bus_new(&bus_);
    if (step >= 0) step = sd_bus_set_address(bus_, address.c_str());
    if (step >= 0) step = sd_bus_set_bus_client(bus_, isBus ? 1 : 0);
    // Only this user can connect to the bus. Without the trust the library would query the credentials of each caller
    // of a method, and block.
    if (step >= 0) step = sd_bus_set_trusted(bus_, 1);
    if (step >= 0) step = sd_bus_start(bus_);
    if (step >= 0) return schedule();
    boost::asio::post(loop_, [self = weak_from_this(), error = errorOf(-step)] {
        if (const auto alive = self.lock()) alive->disconnect(error);
    });
}

void BusPump::close() {
    if (isClosed_) return;
    isClosed_ = true;
    onLost = nullptr;
    timer_.cancel();
    boost::system::error_code ignored;
    descriptor_.close(ignored);
    while (!pending_.empty()) {
        const Pending pending = remove(*pending_.front());
        if (pending.failsAtClose) pending.reply(std::unexpected(errorOf(ECANCELED)));
    }
    bus_ = sd_bus_close_unref(bus_);
}

void BusPump::schedule() {
    if (isScheduled_ || isClosed_ || isLost_) return;
    isScheduled_ = true;
    boost::asio::post(loop_, [self = weak_from_this()] {
        const auto alive = self.lock();
        if (!alive) return;
        alive->isScheduled_ = false;
        alive->process();
    });
}

void BusPump::process() {
    // A peer that floods us must not starve the rest of the loop.
    constexpr int maxMessagesPerTurn = 64;
    for (int count = 0; count < maxMessagesPerTurn; ++count) {
        if (isClosed_ || isLost_) return;
        const int step = sd_bus_process(bus_, nullptr);
        if (step == -EBUSY) return schedule();
        if (step < 0) return disconnect(errorOf(-step));
        wasReady_ = wasReady_ || sd_bus_is_ready(bus_) > 0;
        if (step == 0) return waitForEvents();
    }
    schedule();
}

void BusPump::waitForEvents() {
    if (isClosed_ || isLost_) return;
    const int events = sd_bus_get_events(bus_);
    if (events < 0) return disconnect(errorOf(-events));
    std::uint64_t until = UINT64_MAX;
    if (const int step = sd_bus_get_timeout(bus_, &until); step < 0) return disconnect(errorOf(-step));
    const int descriptor = sd_bus_get_fd(bus_);
    if (descriptor < 0) return disconnect(errorOf(-descriptor));
    watchDescriptor(descriptor);
    if (isLost_) return;
    waitFor(static_cast<short>(events));
    waitUntil(until);
}

/// The loop closes what it watches, so it gets a duplicate. The library may switch to another socket while it tries
/// the addresses in turn.
void BusPump::watchDescriptor(int descriptor) {
    const bool mayHaveMoved = sd_bus_is_ready(bus_) == 0;
    if (descriptor_.is_open() && (!mayHaveMoved || isSameFile(descriptor, descriptor_.native_handle()))) return;
    boost::system::error_code failed;
    descriptor_.close(failed);
    isWaitingToRead_ = isWaitingToWrite_ = false;
    FileDescriptor duplicate{::fcntl(descriptor, F_DUPFD_CLOEXEC, 3)};
    if (!duplicate) return disconnect(errorOf(errno));
    descriptor_.assign(duplicate.get(), failed);
    if (failed) return disconnect(errorOf(failed.value()));
    static_cast<void>(duplicate.release());
}

void BusPump::waitFor(short events) {
    using Wait = boost::asio::posix::descriptor_base;
    const auto wait = [this](Wait::wait_type kind, bool BusPump::* flag) {
        if (this->*flag) return;
        this->*flag = true;
        descriptor_.async_wait(kind, [self = weak_from_this(), flag](boost::system::error_code failed) {
            const auto alive = self.lock();
            if (!alive || failed == boost::asio::error::operation_aborted) return;
            (*alive).*flag = false;
            alive->process();
        });
    };
    if ((events & POLLIN) != 0) wait(Wait::wait_read, &BusPump::isWaitingToRead_);
    if ((events & POLLOUT) != 0) wait(Wait::wait_write, &BusPump::isWaitingToWrite_);
}

void BusPump::waitUntil(std::uint64_t microseconds) {
    if (microseconds == 0) return schedule();
    if (microseconds == wakeAt_) return;
    wakeAt_ = microseconds;
    timer_.cancel();
    if (microseconds == UINT64_MAX) return;
    timer_.expires_at(std::chrono::steady_clock::time_point{std::chrono::microseconds{microseconds}});
    timer_.async_wait([self = weak_from_this()](boost::system::error_code failed) {
        const auto alive = self.lock();
        if (!alive || failed) return;
        alive->wakeAt_ = UINT64_MAX;
        alive->process();
    });
}

void BusPump::disconnect(const BusError& error) {
    if (isLost_ || isClosed_) return;
    isLost_ = true;
    timer_.cancel();
    boost::system::error_code ignored;
    descriptor_.close(ignored);
    if (bus_ != nullptr) sd_bus_close(bus_);
    // Each callback may close the bus, or cancel a call that is still in the list.
    const auto self = shared_from_this();
    while (!pending_.empty()) remove(*pending_.front()).reply(std::unexpected(error));
    if (onLost) std::exchange(onLost, nullptr)(error);
}

BusPump::Pending BusPump::remove(PendingCall& call) {
    pending_.erase(call.place);
    return std::exchange(call.pending, {});
}

BusSlot BusPump::call(const BusMessage& message, Pending pending, std::chrono::microseconds timeout) {
    if (!message) return failLater(std::move(pending), errorOf(EINVAL));
    if (isLost_ || isClosed_) return failLater(std::move(pending), errorOf(ENOTCONN));
    const std::uint64_t limit =
        timeout == std::chrono::microseconds::max() ? UINT64_MAX : static_cast<std::uint64_t>(timeout.count());
    auto call = std::make_unique<PendingCall>(weak_from_this(), std::move(pending));
    sd_bus_slot* slot = nullptr;
    const int step = sd_bus_call_async(bus_, &slot, message.get(), &onReply, call.get(), limit);
    if (step < 0) return failLater(std::exchange(call->pending, {}), errorOf(-step));
    sd_bus_slot_set_destroy_callback(slot, [](void* held) { delete static_cast<PendingCall*>(held); });
    call->place = pending_.insert(pending_.end(), call.get());
    static_cast<void>(call.release());
    schedule();
    return {slot, weak_from_this()};
}

BusSlot BusPump::failLater(Pending pending, BusError error) {
    auto isCancelled = std::make_shared<bool>(false);
    boost::asio::post(loop_,
                      [self = weak_from_this(), pending = std::move(pending), error = std::move(error), isCancelled] {
                          const auto alive = self.lock();
                          if (pending.failsAtClose || (alive && !alive->isClosed_ && !*isCancelled))
                              pending.reply(std::unexpected(error));
                      });
    return BusSlot{std::move(isCancelled)};
}

int BusPump::onReply(sd_bus_message* message, void* call, sd_bus_error*) noexcept {
    auto& answered = *static_cast<PendingCall*>(call);
    const auto pump = answered.pump.lock();
    if (!pump || !answered.pending.reply) return 1;
    const Pending pending = pump->remove(answered);
    if (const sd_bus_error* error = sd_bus_message_get_error(message)) {
        pending.reply(std::unexpected(errorOf(*error)));
    } else {
        pending.reply(BusMessage::retaining(message));
    }
    return 1;
}

void BusSlot::reset() {
    if (isCancelled_) *isCancelled_ = true;
    isCancelled_.reset();
    if (slot_ == nullptr) return;
    sd_bus_slot_unref(std::exchange(slot_, nullptr));
    // Ending a match sends a message.
    if (const auto pump = std::exchange(pump_, {}).lock()) pump->schedule();
}

void BusSlot::detach() {
    isCancelled_.reset();
    if (slot_ == nullptr) return;
    sd_bus_slot_set_floating(slot_, 1);
    sd_bus_slot_unref(std::exchange(slot_, nullptr));
}

}  // namespace larkmoor

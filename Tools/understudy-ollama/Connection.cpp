#include "Connection.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/beast/http.hpp>
#include <cerrno>

#include "LarkmoorBase/JSON/Encoder.h"

namespace larkmoor::modelhost {

namespace {

namespace http = boost::beast::http;

constexpr std::uint64_t maxRequestBytes = 16 << 20;

LARKMOOR_RECORD(ErrorLine, (std::string, error))

/// One line of this many bytes.
std::string longLine(Int bytes) {
    std::string line = R"({"status":")";
    const auto frame = static_cast<Int>(line.size() + 3);
    line.append(static_cast<std::size_t>(std::max<Int>(bytes - frame, 0)), 'x');
    return line + "\"}\n";
}

}  // namespace

std::string errorLine(std::string_view words) {
    const auto line = Encoder::encode(ErrorLine{std::string{words}});
    return (line ? std::string{asText(*line)} : R"({"error":""})") + "\n";
}

std::optional<Request> Connection::read() {
    if (isLast_) return std::nullopt;
    http::request_parser<http::string_body> parser;
    parser.body_limit(maxRequestBytes);
    boost::system::error_code failure;
    http::read(socket_, buffer_, parser, failure);
    hasEnded_ = hasBegun_ = false;
    sent_ = status_ = 0;
    armed_.clear();
    bytesPerSecond_.reset();
    isLast_ = failure || !parser.get().keep_alive();
    // The peer has closed it between two requests.
    if (failure == http::error::end_of_stream || failure.category() == boost::asio::error::get_misc_category() ||
        (failure && failure.category() == boost::system::system_category()))
        return std::nullopt;
    if (failure) return answer(400, errorLine(failure.message())), std::nullopt;
    const auto& request = parser.get();
    Request read{std::string{request.method_string()}, std::string{request.target()}, request.body()};
    log_.note({0, "request", number_, read.method, read.path, read.body, {}, {}});
    return read;
}

void Connection::arm(std::vector<Fault> faults) {
    const auto place = [](const Fault& fault) { return fault.bytes.value_or(0); };
    for (Fault& fault : faults)
        armed_.insert(std::ranges::upper_bound(armed_, place(fault), {}, place), std::move(fault));
}

void Connection::answer(int status, std::string_view body, std::string_view type, Framing framing) {
    begin(status, type, framing, static_cast<Int>(body.size()));
    write(body);
    end();
}

void Connection::begin(int status, std::string_view type, Framing framing, Int length) {
    if (hasBegun_ || !isGoing()) return;
    hasBegun_ = true;
    status_ = status;
    framing_ = framing;
    length_ = length;
    isLast_ = isLast_ || framing == Framing::close;
    std::string head = fmt::format("HTTP/1.1 {} {}\r\nContent-Type: {}\r\n", status,
                                   std::string_view{http::obsolete_reason(static_cast<http::status>(status))}, type);
    if (framing == Framing::length) head += fmt::format("Content-Length: {}\r\n", length);
    if (framing == Framing::chunked) head += "Transfer-Encoding: chunked\r\n";
    send(head, isLast_ ? "Connection: close\r\n" : "", "\r\n");
}

void Connection::write(std::string_view piece) {
    while (!armed_.empty() && armed_.front().bytes.value_or(0) <= sent_ + static_cast<Int>(piece.size())) {
        const Fault fault = std::move(armed_.front());
        armed_.pop_front();
        const auto head = piece.substr(0, static_cast<std::size_t>(std::max<Int>(fault.bytes.value_or(0) - sent_, 0)));
        put(head);
        piece.remove_prefix(head.size());
        perform(fault);
    }
    put(piece);
}

void Connection::put(std::string_view piece) {
    if (!bytesPerSecond_) return putNow(piece);
    const std::chrono::milliseconds each{1000 / std::max<Int>(*bytesPerSecond_, 1)};
    for (; !piece.empty() && isGoing(); piece.remove_prefix(1)) {
        pause(each);
        putNow(piece.substr(0, 1));
    }
}

void Connection::putNow(std::string_view piece) {
    if (piece.empty() || !isGoing()) return;
    if (framing_ == Framing::chunked) {
        send(fmt::format("{:x}\r\n", piece.size()), piece, "\r\n");
    } else {
        send({}, piece, {});
    }
    sent_ += static_cast<Int>(piece.size());
}

void Connection::end() {
    if (framing_ == Framing::length) {
        // A peer that has had the whole length may be gone by now.
        isLast_ = isLast_ || sent_ != length_;
    } else if (framing_ == Framing::chunked && isGoing()) {
        send("0\r\n\r\n", {}, {});
    }
    if (!hasEnded_) noteEnd("answered");
}

bool Connection::isGoing() { return !hasEnded_ && !hasClosed(0); }

void Connection::pause(std::chrono::milliseconds time) {
    if (!hasEnded_) (void)hasClosed(static_cast<int>(time.count()));
}

bool Connection::hasClosed(int waitMilliseconds) {
    pollfd socket{socket_.native_handle(), POLLRDHUP, 0};
    if (::poll(&socket, 1, waitMilliseconds) <= 0) return false;
    noteEnd("closed");
    isLast_ = true;
    return true;
}

void Connection::send(std::string_view head, std::string_view piece, std::string_view tail) {
    std::array<iovec, 3> parts{};
    std::ranges::transform(std::array{head, piece, tail}, parts.begin(), [](std::string_view part) {
        // What is sent is not written to.
        return iovec{const_cast<char*>(part.data()), part.size()};  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    });
    std::span<iovec> left{parts};
    while (!left.empty() && !hasEnded_) {
        msghdr message{};
        message.msg_iov = left.data();
        message.msg_iovlen = left.size();
        ssize_t count = ::sendmsg(socket_.native_handle(), &message, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            noteEnd("closed");
            isLast_ = true;
            return;
        }
        for (; !left.empty() && static_cast<std::size_t>(count) >= left.front().iov_len; left = left.subspan(1))
            count -= static_cast<ssize_t>(left.front().iov_len);
        if (left.empty()) break;
        left.front().iov_base = static_cast<char*>(left.front().iov_base) + count;
        left.front().iov_len -= static_cast<std::size_t>(count);
    }
}

void Connection::noteEnd(const char* event) {
    hasEnded_ = true;
    log_.note({0, event, number_, {}, {}, {}, status_ == 0 ? std::nullopt : std::optional<Int>{status_}, sent_});
}

void Connection::perform(const Fault& fault) {
    if (!isGoing()) return;
    switch (fault.does) {
        case Does::error:
            put(errorLine(fault.words.value_or("unexpected EOF")));
            [[fallthrough]];
        case Does::end:
            return end();
        case Does::text:
            return put(fault.words.value_or("no JSON\n"));
        case Does::longLine:
            return put(longLine(fault.size.value_or(100'000'000)));
        case Does::dribble:
            bytesPerSecond_ = fault.bytesPerSecond.value_or(1);
            return;
        case Does::stop:
        case Does::halfClose:
        case Does::reset:
        case Does::hang:
        case Does::exit:
            return breakOff(fault);
        case Does::answer:
        case Does::flood:
        case Does::total:
        case Does::lateLayer:
            return;
    }
}

void Connection::breakOff(const Fault& fault) {
    if (fault.does == Does::exit) {
        noteEnd("broken");
        ::_exit(static_cast<int>(fault.status.value_or(1)));
    }
    if (fault.does == Does::halfClose) ::shutdown(socket_.native_handle(), SHUT_WR);
    if (fault.does == Does::hang || fault.does == Does::halfClose) {
        (void)hasClosed(-1);
        return;
    }
    noteEnd("broken");
    isLast_ = true;
    boost::system::error_code ignored;
    if (fault.does == Does::reset) socket_.set_option(boost::asio::socket_base::linger{true, 0}, ignored);
    socket_.close(ignored);
}

}  // namespace larkmoor::modelhost

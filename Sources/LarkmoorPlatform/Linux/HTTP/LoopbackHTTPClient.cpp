#include "LarkmoorPlatform/Linux/HTTP/LoopbackHTTPClient.h"

#include <fmt/format.h>
#include <sys/socket.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/basic_parser.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Timers.h"

namespace larkmoor {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using Address = asio::ip::tcp::endpoint;
using Error = boost::system::error_code;
using Listener = HTTPClient::Listener;

constexpr std::size_t pieceSize = std::size_t{64} << 10U;

/// The system's words, in the middle of a sentence.
std::string words(const Error& failed) {
    std::string text = failed.message();
    if (!text.empty()) text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
    return text;
}

std::optional<Address> loopback(const HTTPAddress& url) {
    Error failed;
    const auto address = asio::ip::make_address(url.host == "localhost" ? "127.0.0.1" : url.host, failed);
    if (failed || !address.is_loopback()) return std::nullopt;
    return Address{address, url.port};
}

std::string written(const HTTPRequest& request, const HTTPAddress& url) {
    const bool isIPv6 = url.host.contains(':');
    std::string text = fmt::format("{} {} HTTP/1.1\r\nHost: {}{}{}:{}\r\nConnection: close\r\nAccept: */*\r\n",
                                   request.method, url.path, isIPv6 ? "[" : "", url.host, isIPv6 ? "]" : "", url.port);
    if (!request.body.empty()) {
        text += fmt::format("Content-Type: application/json\r\nContent-Length: {}\r\n", request.body.size());
    }
    return text + "\r\n" + request.body;
}

/// Passes head and body on as they are parsed; the body from where it was received.
class AnswerParser final : public http::basic_parser<false> {
  public:
    AnswerParser(const Listener& listener, std::string host) : listener_(listener), head_{.host = std::move(host)} {
        body_limit(boost::none);
        // One turn takes all that has arrived, however small the chunks are.
        eager(true);
    }

    /// The listener wants no more.
    bool isDeclined() const { return isDeclined_; }

    /// "100 Continue" and its kind: the answer is still to come. A change of protocols, which we never ask for, is one.
    bool isInterim() const {
        constexpr int switchingProtocols = 101;
        return head_.status / 100 == 1 && head_.status != switchingProtocols;
    }

  private:
    using Text = boost::beast::string_view;

    void on_request_impl(http::verb, Text, Text, int, Error&) override {}
    void on_response_impl(int code, Text, int, Error&) override { head_.status = code; }
    void on_field_impl(http::field, Text, Text, Error&) override {}
    void on_header_impl(Error& failed) override {
        constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        if (const auto length = content_length(); length && *length <= most) {
            head_.contentLength = static_cast<std::int64_t>(*length);
        }
        if (!isInterim() && !listener_.head(head_)) decline(failed);
    }
    void on_body_init_impl(const boost::optional<std::uint64_t>&, Error&) override {}
    std::size_t on_body_impl(Text piece, Error& failed) override {
        if (!piece.empty() && !listener_.piece(asBytes({piece.data(), piece.size()}))) decline(failed);
        return piece.size();
    }
    void on_chunk_header_impl(std::uint64_t, Text, Error&) override {}
    std::size_t on_chunk_body_impl(std::uint64_t, Text piece, Error& failed) override {
        return on_body_impl(piece, failed);
    }
    void on_finish_impl(Error&) override {}

    void decline(Error& failed) {
        isDeclined_ = true;
        failed = asio::error::operation_aborted;
    }

    const Listener& listener_;
    HTTPHead head_;
    bool isDeclined_ = false;
};

/// One request and its answer. The task owns it; the timer and the stop hold it weakly.
class Exchange : public std::enable_shared_from_this<Exchange> {
  public:
    enum class Limit { whole, silence };

    Exchange(MainLoop& loop, std::chrono::milliseconds limit, Limit kind)
        : socket_(loop), timer_(loop), limit_(limit), kind_(kind) {}

    /// nullopt if the answer came whole, or the listener wanted no more of it.
    Task<std::optional<std::string>> perform(std::string request, std::string host, Address address,
                                             Listener listener) {
        heard_ = std::chrono::steady_clock::now();
        awaitLimit();
        auto failure = co_await exchange(std::move(request), std::move(host), address, std::move(listener));
        timer_.cancel();
        // What closes the socket knows better why.
        co_return reason_.empty() || !failure ? std::move(failure) : std::optional{reason_};
    }

    /// Closes the connection, which ends `perform`.
    void abort(std::string_view reason) {
        if (reason_.empty()) reason_ = reason;
        Error ignored;
        socket_.close(ignored);
    }

  private:
    using Failure = std::optional<std::string>;

    static constexpr int maxInterims = 16;

    Task<Failure> exchange(std::string request, std::string host, Address address, Listener listener) {
        Error failed = open(address);
        if (!failed) co_await socket_.async_connect(address, asio::redirect_error(awaiting, failed));
        if (failed) co_return words(failed);
        heard_ = std::chrono::steady_clock::now();
        co_await asio::async_write(socket_, asio::buffer(request), asio::redirect_error(awaiting, failed));
        // A host may answer and close without reading all of the request: then its answer counts.
        if (failed && !socket_.is_open()) co_return words(failed);
        std::optional<AnswerParser> parser{std::in_place, listener, host};
        boost::beast::flat_buffer received{pieceSize};
        received.reserve(pieceSize);
        for (int interims = 0; !parser->is_done();) {
            const auto room = received.prepare(pieceSize - received.size());
            if (room.size() == 0) co_return "the answer is not HTTP: a line of it is too long";
            const std::size_t count = co_await socket_.async_read_some(room, asio::redirect_error(awaiting, failed));
            if (!reason_.empty()) co_return reason_;
            received.commit(count);
            heard_ = std::chrono::steady_clock::now();
            if (failed) co_return ended(*parser, failed);
            for (;; parser.emplace(listener, host)) {
                if (auto failure = parse(*parser, received); failure || parser->isDeclined()) co_return failure;
                if (!parser->is_done() || !parser->isInterim()) break;
                if (++interims > maxInterims) co_return "nothing came but interim answers";
            }
        }
        co_return std::nullopt;
    }

    /// Our own socket call, since the library's leaves the descriptor open in programs that we start.
    Error open(const Address& address) {
        FileDescriptor socket{::socket(address.protocol().family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
        Error failed;
        if (!socket) return {errno, boost::system::system_category()};
        socket_.assign(address.protocol(), socket.get(), failed);
        if (!failed) static_cast<void>(socket.release());
        return failed;
    }

    static Failure parse(AnswerParser& parser, boost::beast::flat_buffer& received) {
        Error failed;
        while (received.size() > 0 && !parser.is_done()) {
            received.consume(parser.put(received.data(), failed));
            if (parser.isDeclined() || failed == http::error::need_more) return std::nullopt;
            if (failed) return "the answer is not HTTP: " + words(failed);
        }
        return std::nullopt;
    }

    static Failure ended(AnswerParser& parser, Error failed) {
        if (failed != asio::error::eof) return words(failed);
        if (!parser.got_some()) return "the connection was closed without an answer";
        parser.put_eof(failed);
        if (failed) return "the connection was closed before the end of the answer";
        return std::nullopt;
    }

    void awaitLimit() {
        timer_.expires_at(heard_ + limit_);
        timer_.async_wait([self = weak_from_this()](const Error& failed) {
            const auto alive = self.lock();
            if (!alive || failed) return;
            const bool isOver = std::chrono::steady_clock::now() >= alive->heard_ + alive->limit_;
            // The timer is not moved for each piece: when it fires, it looks whether anything came meanwhile.
            if (isOver || alive->kind_ == Limit::whole) return alive->abort("timed out");
            alive->awaitLimit();
        });
    }

    asio::basic_stream_socket<asio::ip::tcp, MainLoop::executor_type> socket_;
    MainTimer timer_;
    const std::chrono::milliseconds limit_;
    const Limit kind_;
    std::chrono::steady_clock::time_point heard_;
    std::string reason_;  ///< why we closed the socket ourselves
};

Task<std::expected<void, HTTPFailure>> perform(MainLoop& loop, HTTPRequest request, Exchange::Limit kind,
                                               Listener listener, std::stop_token stop) {
    if (stop.stop_requested()) co_return std::unexpected(HTTPFailure{"cancelled"});
    auto url = HTTPAddress::parse(request.url);
    const auto address = url ? loopback(*url) : std::nullopt;
    if (!address) co_return std::unexpected(HTTPFailure{"not a URL of this machine: " + request.url});
    const auto exchange = std::make_shared<Exchange>(loop, request.timeout, kind);
    const std::stop_callback onStop{stop, [&loop, weak = std::weak_ptr{exchange}] {
                                        asio::post(loop, [weak] {
                                            if (const auto alive = weak.lock()) alive->abort("cancelled");
                                        });
                                    }};
    std::string text = written(request, *url);
    auto failure = co_await exchange->perform(std::move(text), std::move(url->host), *address, std::move(listener));
    if (failure) co_return std::unexpected(HTTPFailure{std::move(*failure)});
    co_return std::expected<void, HTTPFailure>{};
}

}  // namespace

Task<std::expected<HTTPAnswer, HTTPFailure>> LoopbackHTTPClient::send(HTTPRequest request, std::stop_token stop) {
    HTTPAnswer answer;
    bool isTooLong = false;
    const auto accept = [&](std::int64_t more) {
        isTooLong = isTooLong || more > static_cast<std::int64_t>(maxBody - answer.body.size());
        return !isTooLong;
    };
    Listener collector{
        .head = [&](const HTTPHead& head) { return answer.head = head, accept(head.contentLength.value_or(0)); },
        .piece =
            [&](BytesView piece) {
                if (!accept(static_cast<std::int64_t>(piece.size()))) return false;
                answer.body.insert(answer.body.end(), piece.begin(), piece.end());
                return true;
            }};
    const auto whole = co_await perform(loop_, std::move(request), Exchange::Limit::whole, std::move(collector), stop);
    if (!whole) co_return std::unexpected(whole.error());
    if (isTooLong) co_return std::unexpected(HTTPFailure{"the answer is longer than 1 MiB"});
    co_return answer;
}

Task<std::expected<void, HTTPFailure>> LoopbackHTTPClient::stream(HTTPRequest request, Listener listener,
                                                                  std::stop_token stop) {
    return perform(loop_, std::move(request), Exchange::Limit::silence, std::move(listener), std::move(stop));
}

}  // namespace larkmoor

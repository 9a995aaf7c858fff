// The HTTP client against a socket that answers whatever the test says, to the byte.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <thread>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorPlatform/Linux/HTTP/LoopbackHTTPClient.h"
#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;

/// Takes one connection, on a thread of its own.
class RawHost {
  public:
    /// `answer` gets the connection once the request's head was read, or at once.
    explicit RawHost(std::function<void(int)> answer, bool readsRequest = true)
        : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
        socklen_t size = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (::bind(listener_.get(), any, size) != 0 || ::listen(listener_.get(), 1) != 0 ||
            ::getsockname(listener_.get(), any, &size) != 0) {
            throw std::runtime_error("no socket");
        }
        port_ = ntohs(address.sin_port);
        thread_ = std::jthread{[this, readsRequest, answer = std::move(answer)] {
            const FileDescriptor connection{::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)};
            char byte = 0;
            while (readsRequest && !request.ends_with("\r\n\r\n") && ::read(connection.get(), &byte, 1) == 1) {
                request += byte;
            }
            answer(connection.get());
        }};
    }

    std::string url() const { return fmt::format("http://127.0.0.1:{}/x", port_); }

    std::string request;

  private:
    FileDescriptor listener_;
    int port_ = 0;
    std::jthread thread_;
};

void say(int connection, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::send(connection, text.data(), text.size(), MSG_NOSIGNAL);
        if (count <= 0) return;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

/// The status and the body, or the failure's reason.
std::string ask(const std::string& url, std::chrono::milliseconds timeout = 10s, std::stop_token stop = {}) {
    MainLoop loop;
    LoopbackHTTPClient client{loop};
    const auto answer = testing::runTask(loop, client.send({.url = url, .timeout = timeout}, std::move(stop)));
    if (!answer) return "no end";
    if (!*answer) return answer->error().reason;
    return fmt::format("{} {}", (*answer)->head.status, asText((*answer)->body));
}

TEST(HTTPClient, ReadsEveryFormOfAnAnswerAndNothingElse) {
    const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    const std::string cut = "the connection was closed before the end of the answer";
    const std::string most(HTTPClient::maxBody, 'x');
    const std::string interim = "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nA: b\r\n\r\n";
    std::string interims;
    while (interims.size() < 20 * interim.size()) interims += interim;
    struct Row {
        std::string sent, want;
    };
    const Row rows[]{
        {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello and more", "200 hello"},
        {"HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n", "404 "},
        {"HTTP/1.0 200 OK\r\n\r\nto the end", "200 to the end"},
        {chunked + "3;a=b\r\nhel\r\n2\r\nlo\r\n0\r\nTrailer: x\r\n\r\n", "200 hello"},
        {chunked + "3\r\nhel\r\n", cut},
        {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhell", cut},
        {"HTTP/1.1 200 OK\r\nContent-", cut},
        {interim + "HTTP/1.1 200 OK\r\n\r\nto the end", "200 to the end"},
        {interim, "the connection was closed without an answer"},
        {interims, "nothing came but interim answers"},
        {"", "the connection was closed without an answer"},
        {"SSH-2.0-OpenSSH_9.2\r\n\r\n", "the answer is not HTTP: bad version"},
        {chunked + "xyz\r\n", "the answer is not HTTP: bad chunk"},
        {"HTTP/1.1 200 OK\r\nA: " + most + "\r\n\r\n", "the answer is not HTTP: header limit exceeded"},
        {chunked + "3;" + most, "the answer is not HTTP: a line of it is too long"},
        {"HTTP/1.1 200 OK\r\n\r\n" + most, "200 " + most},
        {"HTTP/1.1 200 OK\r\n\r\n" + most + "x", "the answer is longer than 1 MiB"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 1048577\r\n\r\n", "the answer is longer than 1 MiB"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999\r\n\r\n",
         "the answer is not HTTP: bad Content-Length"},
    };
    for (const Row& row : rows) {
        RawHost host{[&](int connection) { say(connection, row.sent); }};
        EXPECT_EQ(ask(host.url()).substr(0, 100), row.want.substr(0, 100)) << row.sent.substr(0, 100);
        if (row.sent.size() > most.size()) continue;
        RawHost slow{[&](int connection) {
            for (const char byte : row.sent) say(connection, {&byte, 1});
        }};
        EXPECT_EQ(ask(slow.url()).substr(0, 100), row.want.substr(0, 100)) << "byte by byte: " << row.sent;
    }
}

TEST(HTTPClient, AsksThisMachineOnly) {
    RawHost host{[](int) {}};
    for (const char* url :
         {"http://192.0.2.1:80/", "http://example.com:80/", "https://127.0.0.1:80/", "http://127.0.0.1/",
          "http://a@127.0.0.1:80/", "http://127.0.0.1:80/a b", "http://127.0.0.1:80/a\r\nX: y", ""}) {
        EXPECT_EQ(ask(url), fmt::format("not a URL of this machine: {}", url));
    }
    EXPECT_EQ(ask("http://localhost:1/"), "connection refused");
    EXPECT_EQ(ask("http://[::1]:1/").substr(0, 7), "connect") << "refused, or there is no IPv6 here";
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(ask(host.url(), 10s, stop.get_token()), "cancelled");
    EXPECT_EQ(ask(host.url()), "the connection was closed without an answer") << "the stopped one never connected";
    EXPECT_TRUE(host.request.starts_with("GET /x HTTP/1.1\r\nHost: 127.0.0.1:")) << host.request;
}

TEST(HTTPClient, AWholeAnswerHasALimitAndAStreamItsSilence) {
    const auto drip = [](int connection) {
        say(connection, "HTTP/1.1 200 OK\r\n\r\n");
        for (int piece = 0; piece < 12; ++piece) {
            std::this_thread::sleep_for(50ms);
            say(connection, "x");
        }
    };
    RawHost dripping{drip}, streaming{drip}, hanging{[](int connection) {
        say(connection, "HTTP/1.1 200 OK\r\n\r\nx");
        pollfd gone{.fd = connection, .events = POLLIN, .revents = 0};
        ::poll(&gone, 1, 10'000);
    }};
    EXPECT_EQ(ask(dripping.url(), 300ms), "timed out");
    MainLoop loop;
    LoopbackHTTPClient client{loop};
    std::size_t pieces = 0;
    const HTTPClient::Listener listener{.head = [](const HTTPHead&) { return true; },
                                        .piece = [&](BytesView) { return ++pieces, true; }};
    const auto stream = [&](const RawHost& host) {
        return testing::runTask(loop, client.stream({.url = host.url(), .timeout = 300ms}, listener));
    };
    EXPECT_TRUE(stream(streaming).value());
    EXPECT_EQ(pieces, 12U);
    EXPECT_EQ(stream(hanging).value().error().reason, "timed out");
}

/// Wherever the answer stands, and before it, the host sees the connection close within a second of the stop.
TEST(HTTPClient, AStopClosesTheConnectionAtEveryPoint) {
    const std::string answer =
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n7\r\n{\"a\":1}\r\n9\r\n\n{\"b\":22}\r\n0\r\n\r\n";
    constexpr std::size_t points = 20;
    for (std::size_t point = 0; point <= points; ++point) {
        std::stop_source stop;
        bool isClosed = false;
        std::string reason;
        {
            RawHost host{[&](int connection) {
                             if (point > 0)
                                 say(connection,
                                     std::string_view{answer}.substr(0, (point - 1) * answer.size() / points));
                             stop.request_stop();
                             // The request, if it was not read, and then the end.
                             char byte = 0;
                             pollfd readable{.fd = connection, .events = POLLIN, .revents = 0};
                             while (::poll(&readable, 1, 1'000) == 1 && !isClosed)
                                 isClosed = ::read(connection, &byte, 1) <= 0;
                         },
                         point > 0};
            reason = ask(host.url(), 30s, stop.get_token());
        }
        EXPECT_TRUE(isClosed) << point;
        EXPECT_EQ(reason, "cancelled") << point;
    }
}

}  // namespace
}  // namespace larkmoor

#include "Server.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>
#include <thread>

#include "LarkmoorBase/WholeNumber.h"

namespace larkmoor::modelhost {

using boost::asio::ip::tcp;

std::expected<tcp::endpoint, std::string> endpointOf(std::string_view text) {
    constexpr std::string_view scheme = "http://";
    const std::string whole{text};
    if (text.starts_with(scheme)) text.remove_prefix(scheme.size());
    const std::size_t colon = text.rfind(':');
    std::uint16_t port = 11434;
    if (colon != std::string_view::npos) {
        const auto written = wholeNumber<std::uint16_t>(text.substr(colon + 1));
        if (!written) return std::unexpected("no host and port: " + whole);
        port = *written;
    }
    std::string address{text.substr(0, colon)};
    if (address.empty() || address == "localhost") address = "127.0.0.1";
    boost::system::error_code failure;
    const auto parsed = boost::asio::ip::make_address(address, failure);
    if (failure) return std::unexpected("no host and port: " + whole);
    return tcp::endpoint{parsed, port};
}

std::expected<std::string, std::string> Server::open(const tcp::endpoint& endpoint) {
    const auto textOf = [](const tcp::endpoint& at) {
        return fmt::format("{}:{}", at.address().to_string(), at.port());
    };
    try {
        acceptor_ = tcp::acceptor{loop_, endpoint};
    } catch (const boost::system::system_error& failure) {
        return std::unexpected(fmt::format("listen tcp {}: {}", textOf(endpoint), failure.code().message()));
    }
    accept();
    return textOf(acceptor_.local_endpoint());
}

void Server::accept() {
    acceptor_.async_accept([this](boost::system::error_code failure, tcp::socket socket) {
        if (!failure) {
            std::thread{[this, number = ++connections_, taken = std::move(socket)]() mutable {
                serve(std::move(taken), number);
            }}.detach();
        }
        accept();
    });
}

void Server::serve(tcp::socket socket, Int number) {
    boost::system::error_code ignored;
    socket.set_option(tcp::no_delay{true}, ignored);
    Connection connection{std::move(socket), host_.log, number};
    while (const auto request = connection.read()) {
        host_.respond(*request, connection);
        if (++answers_ == host_.scenario.exitAfterRequests) ::_exit(EXIT_FAILURE);
    }
}

}  // namespace larkmoor::modelhost

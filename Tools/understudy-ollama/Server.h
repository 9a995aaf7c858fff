// The stand-in's port: a thread for each connection.
#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <atomic>
#include <expected>
#include <string>
#include <string_view>

#include "Host.h"

namespace larkmoor::modelhost {

/// Of "[http://]address[:port]", as OLLAMA_HOST holds it; an error message if it is none.
std::expected<boost::asio::ip::tcp::endpoint, std::string> endpointOf(std::string_view text);

class Server {
  public:
    Server(Host& host, boost::asio::io_context& loop) : host_(host), loop_(loop), acceptor_(loop) {}

    /// Listens; returns the address with the port that it got, or an error message.
    std::expected<std::string, std::string> open(const boost::asio::ip::tcp::endpoint& endpoint);

  private:
    void accept();
    void serve(boost::asio::ip::tcp::socket socket, Int number);

    Host& host_;
    boost::asio::io_context& loop_;
    boost::asio::ip::tcp::acceptor acceptor_;
    Int connections_ = 0;
    std::atomic<Int> answers_ = 0;
};

}  // namespace larkmoor::modelhost

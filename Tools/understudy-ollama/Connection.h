// One connection: reads requests and writes answers, with the faults that hit an answer's body.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "EventLog.h"
#include "Scenario.h"

namespace larkmoor::modelhost {

struct Request {
    std::string method, path, body;
};

/// Belongs to one thread. Once the answer has ended or the connection has, `isGoing` is false and writing does nothing.
class Connection {
  public:
    Connection(boost::asio::ip::tcp::socket socket, EventLog& log, Int number)
        : socket_(std::move(socket)), log_(log), number_(number) {}

    /// The next request; nothing if there is none any more.
    std::optional<Request> read();

    /// Faults that come into effect after so many bytes of the next answer's body.
    void arm(std::vector<Fault> faults);

    /// A whole answer.
    void answer(int status, std::string_view body, std::string_view type = jsonType, Framing framing = Framing::length);

    void begin(int status, std::string_view type, Framing framing, Int length = 0);
    void write(std::string_view piece);
    void end();

    /// What a fault does to a connection, now.
    void perform(const Fault& fault);

    /// Waits; an end of the connection ends the wait.
    void pause(std::chrono::milliseconds time);

    /// Notices an end of the connection, too.
    bool isGoing();

    static constexpr std::string_view jsonType = "application/json; charset=utf-8";
    static constexpr std::string_view streamType = "application/x-ndjson";

  private:
    bool hasClosed(int waitMilliseconds);
    void put(std::string_view piece);
    void putNow(std::string_view piece);
    void send(std::string_view head, std::string_view piece, std::string_view tail);
    void noteEnd(const char* event);
    void breakOff(const Fault& fault);

    boost::asio::ip::tcp::socket socket_;
    boost::beast::flat_buffer buffer_;
    EventLog& log_;
    const Int number_;
    std::deque<Fault> armed_;
    std::optional<Int> bytesPerSecond_;
    Framing framing_ = Framing::length;
    int status_ = 0;
    Int length_ = 0;  ///< of the body, as the head told it
    Int sent_ = 0;
    bool hasBegun_ = false;
    bool hasEnded_ = true;  ///< the answer
    bool isLast_ = false;   ///< the connection ends with this answer
};

/// A line of an answer in lines: {"error": words}
std::string errorLine(std::string_view words);

}  // namespace larkmoor::modelhost

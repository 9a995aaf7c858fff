// A private session bus for a test: a real dbus-daemon with the limits of a session bus, on a socket in a folder of its
// own, without D-Bus activation.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "LarkmoorBase/FileDescriptor.h"
#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {

class PrivateBus {
  public:
    PrivateBus() {
        const std::string configuration = folder_ / "bus.conf";
        std::ofstream{configuration}
            << R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)"
            << folder_ / "socket" << R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  <limit name="max_incoming_bytes">1000000000</limit>
  <limit name="max_incoming_unix_fds">250000000</limit>
  <limit name="max_outgoing_bytes">1000000000</limit>
  <limit name="max_outgoing_unix_fds">250000000</limit>
  <limit name="max_message_size">1000000000</limit>
</busconfig>
)";
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        const FileDescriptor told{ends[0]};
        {
            const FileDescriptor telling{ends[1]};
            daemon_.emplace(
                std::vector<std::string>{"dbus-daemon", "--config-file=" + configuration, "--nofork", "--nopidfile",
                                         "--nosyslog", "--print-address=" + std::to_string(telling.get())},
                std::map<std::string, std::string>{}, telling.get());
        }
        for (char letter = 0; ::read(told.get(), &letter, 1) == 1 && letter != '\n';) address_ += letter;
        if (address_.empty()) throw std::runtime_error("dbus-daemon did not start");
    }

    const std::string& address() const { return address_; }

    /// The environment for programs that are to use this bus.
    std::map<std::string, std::string> environment() const { return {{"DBUS_SESSION_BUS_ADDRESS", address_}}; }

    /// Kills the bus, as if the session had crashed.
    void kill() { daemon_->kill(); }

  private:
    TemporaryFolder folder_;
    std::optional<ChildProcess> daemon_;
    std::string address_;
};

/// A socket that accepts connections like a bus and never replies.
class DeafBus {
  public:
    DeafBus() {
        sockaddr_un where{.sun_family = AF_UNIX, .sun_path = {}};
        (folder_ / "deaf").copy(where.sun_path, sizeof where.sun_path - 1);
        if (::bind(listening_.get(), reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0 ||
            ::listen(listening_.get(), 1) != 0)
            throw std::runtime_error("no socket");
    }
    std::string address() const { return "unix:path=" + (folder_ / "deaf"); }

  private:
    TemporaryFolder folder_;
    FileDescriptor listening_{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

}  // namespace larkmoor::testing

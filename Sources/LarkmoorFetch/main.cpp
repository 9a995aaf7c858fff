// larkmoor-fetch: downloads what is at one address. FetchProtocol.h is its only interface.
#include <fmt/format.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "LarkmoorFetch/Download.h"
#include "LarkmoorFetch/Say.h"

namespace larkmoor {

namespace {

namespace protocol = FetchProtocol;

[[noreturn]] void refuse(protocol::ExitStatus status, const std::string& words) {
    fmt::print(stderr, "larkmoor-fetch: {}\n", words);
    std::_Exit(status);
}

int fetch(std::span<char* const> arguments) {
    const auto order = FetchOrder::read(arguments);
    if (!order) refuse(protocol::badRequest, order.error());
    if (order->build != LARKMOOR_BUILD) {
        refuse(protocol::otherBuild, "this is build " LARKMOOR_BUILD ", and build " + order->build + " asks");
    }
    // A download that nobody waits for any more must not go on.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != order->asker) refuse(protocol::noAsker, "whoever asked is gone");
    // A server that hangs up is a failure with a reason.
    std::signal(SIGPIPE, SIG_IGN);
    Download download{*order};
    const auto bytes = download.run();
    if (bytes) {
        say(protocol::end, *bytes);
        return protocol::fetched;
    }
    say(protocol::failure, bytes.error());
    return protocol::failed;
}

}  // namespace

}  // namespace larkmoor

int main(int count, char** arguments) {
    // Run through a descriptor, it would be listed by the descriptor's number.
    ::prctl(PR_SET_NAME, "larkmoor-fetch");
    return larkmoor::fetch({arguments + 1, static_cast<std::size_t>(count > 0 ? count - 1 : 0)});
}

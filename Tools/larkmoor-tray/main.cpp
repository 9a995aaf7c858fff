// A tray host in a terminal, for machines without a panel and for scripts.
#include <fmt/format.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/signal_set.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <string_view>
#include <vector>

#include "Commands.h"

namespace larkmoor::tray {
namespace {

int run(const CommandLine& command) {
    MainLoop loop;
    SessionBus bus{loop};
    Changes changes{loop};
    TrayHost host{loop, bus, [&] { changes.notify(); }};
    int status = 1;
    bus.onLost([&](const BusError& why) {
        std::fputs(("larkmoor-tray: " + why.description() + "\n").c_str(), stderr);
        loop.stop();
    });
    boost::asio::signal_set ended{loop, SIGINT, SIGTERM, SIGHUP};
    ended.async_wait([&](boost::system::error_code failed, int) {
        if (failed) return;
        status = 0;
        loop.stop();
    });
    const auto finish = [&](const std::exception_ptr& escaped, int result) {
        if (escaped) std::rethrow_exception(escaped);
        status = result;
        loop.stop();
    };
    if (command.verb == CommandLine::Verb::interactive) {
        boost::asio::co_spawn(loop, runInteractive(loop, host, changes), finish);
    } else {
        boost::asio::co_spawn(loop, runCommand(command, host, changes), finish);
    }
    loop.run();
    return status;
}

}  // namespace
}  // namespace larkmoor::tray

int main(int count, char** arguments) {
    using namespace larkmoor::tray;
    constexpr int wrongUsage = 2;
    const std::vector<std::string_view> words{arguments + 1, arguments + count};
    const auto command = CommandLine::parse(words);
    if (!command) {
        std::fputs(fmt::format("larkmoor-tray: {}\n{}", command.error(), CommandLine::usage).c_str(), stderr);
        return wrongUsage;
    }
    if (command->verb == CommandLine::Verb::help) {
        std::fputs(std::string{CommandLine::usage}.c_str(), stdout);
        return 0;
    }
    if (command->verb == CommandLine::Verb::interactive && !isTerminal()) {
        std::fputs("larkmoor-tray: the menus need a terminal; a script wants \"host\", \"show\" or \"click\"\n",
                   stderr);
        return wrongUsage;
    }
    return run(*command);
}

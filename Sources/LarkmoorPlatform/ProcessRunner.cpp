#include "LarkmoorPlatform/ProcessRunner.h"

#include <fmt/format.h>

#include <csignal>

namespace larkmoor {

namespace {

struct Status {
    std::int32_t operator()(const ProcessEnds::Exited& end) const { return end.status; }
    std::int32_t operator()(const ProcessEnds::Signalled& end) const { return end.signal; }
    std::int32_t operator()(const ProcessEnds::TimedOut&) const { return SIGKILL; }
    std::int32_t operator()(const ProcessEnds::Stopped&) const { return SIGKILL; }
    std::int32_t operator()(const ProcessEnds::NotStarted&) const { return -1; }
};

struct Description {
    std::string operator()(const ProcessEnds::Exited& end) const { return fmt::format("exit {}", end.status); }
    std::string operator()(const ProcessEnds::Signalled& end) const { return fmt::format("signal {}", end.signal); }
    std::string operator()(const ProcessEnds::TimedOut&) const { return "ended when its budget was over"; }
    std::string operator()(const ProcessEnds::Stopped&) const { return "ended on request"; }
    std::string operator()(const ProcessEnds::NotStarted& end) const {
        return "not started: " + end.error.description();
    }
};

}  // namespace

std::int32_t ProcessResult::status() const { return std::visit(Status{}, end); }

std::string ProcessResult::description() const { return std::visit(Description{}, end); }

}  // namespace larkmoor

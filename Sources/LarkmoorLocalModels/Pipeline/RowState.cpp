#include "LarkmoorLocalModels/Pipeline/RowState.h"

#include <fmt/format.h>

namespace larkmoor {

std::string_view RowState::word() const {
    return visit([](const Pending&) { return "pending"; }, [](const Active&) { return "active"; },
                 [](const Done&) { return "done"; }, [](const Skipped&) { return "skipped"; });
}

std::string RowState::logged() const {
    if (const auto* active = as<Active>()) {
        return active->fraction ? fmt::format("active({:#})", *active->fraction) : "active(nil)";
    }
    if (const auto* done = as<Done>()) return fmt::format("done(\"{}\")", done->detail);
    return std::string{word()};
}

}  // namespace larkmoor

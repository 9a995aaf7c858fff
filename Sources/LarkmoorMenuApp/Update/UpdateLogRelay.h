// Log of the updates and of the migration: the system's, and through the daemon the one that it keeps of updates.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "LarkmoorKit/Trace/RequestRelay.h"

namespace larkmoor {

/// Never blocks: a line for the daemon is lost if it cannot be reached. A line that has line feeds is joined into one.
/// Main thread.
class UpdateLogRelay {
  public:
    using Ask = RequestRelay<ControlRequest>::Ask;
    using System = std::function<void(std::string_view)>;

    UpdateLogRelay(MainLoop& loop, std::shared_ptr<LarkmoorClient> client, System system);
    UpdateLogRelay(MainLoop& loop, Ask ask, System system);

    /// To both.
    void say(std::string_view line) const;
    /// To the daemon alone.
    void note(std::string_view line) const;
    /// To the system's log alone.
    void sayHere(std::string_view line) const;
    /// Ends when the daemon has what it was told, or when `patience` is over. One task at a time.
    Task<void> delivered(std::chrono::milliseconds patience) const { return relay_.delivered(patience); }

  private:
    RequestRelay<ControlRequest> relay_;
    System system_;
};

}  // namespace larkmoor

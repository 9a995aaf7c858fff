// Whether this launch starts the setup of the local models: at most one pass for each process.
#pragma once

namespace larkmoor {

/// Main thread.
class LocalModelLaunch {
  public:
    static constexpr bool shouldStart(bool stepsDone, bool alreadyStarted, bool migrationDue) {
        return !alreadyStarted && (migrationDue || !stepsDone);
    }

    /// True once at most: then the caller starts the pass.
    bool claim(bool stepsDone, bool migrationDue) {
        const bool starts = shouldStart(stepsDone, started_, migrationDue);
        started_ = started_ || starts;
        return starts;
    }

    bool hasStarted() const { return started_; }

  private:
    bool started_ = false;
};

}  // namespace larkmoor

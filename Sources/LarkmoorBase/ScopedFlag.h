// A flag that is set while a scope lasts.
#pragma once

namespace larkmoor {

/// Clears the flag however the scope ends, so that an exception cannot leave it set for good.
class ScopedFlag {
  public:
    explicit ScopedFlag(bool& flag) : flag_(flag) { flag_ = true; }
    ScopedFlag(const ScopedFlag&) = delete;
    ScopedFlag& operator=(const ScopedFlag&) = delete;
    ~ScopedFlag() { flag_ = false; }

  private:
    bool& flag_;
};

}  // namespace larkmoor

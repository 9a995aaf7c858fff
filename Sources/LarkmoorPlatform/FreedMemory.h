// What the program has freed and its allocator still holds.
#pragma once

namespace larkmoor {

/// Gives it back to the system: worth a millisecond after work whose memory is not needed again soon. Any thread.
void returnFreedMemory() noexcept;

}  // namespace larkmoor

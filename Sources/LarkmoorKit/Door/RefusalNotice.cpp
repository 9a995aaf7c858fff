#include "LarkmoorKit/Door/RefusalNotice.h"

namespace larkmoor::RefusalNotice {

Action decide(std::optional<DoorFault> fault, std::optional<std::chrono::duration<double>> refusedFor,
              bool alreadyReported) {
    const bool isDue = fault == DoorFault::refused && !alreadyReported && refusedFor && *refusedFor >= settleWindow;
    return isDue ? Action::report : Action::wait;
}

}  // namespace larkmoor::RefusalNotice

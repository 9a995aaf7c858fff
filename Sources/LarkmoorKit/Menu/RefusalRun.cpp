#include "LarkmoorKit/Menu/RefusalRun.h"

#include "LarkmoorKit/Door/DoorFault.h"

namespace larkmoor {

bool RefusalRun::note(std::optional<DoorFault> fault, Time now) {
    if (fault != DoorFault::refused) {
        *this = {};
        return false;
    }
    if (!refusedSince) refusedSince = now;
    if (RefusalNotice::decide(fault, now - *refusedSince, reportedRefusal) != RefusalNotice::Action::report)
        return false;
    reportedRefusal = true;
    return true;
}

}  // namespace larkmoor

// What the login-item service says of one of our items, in the service's own numbering.
#pragma once

namespace larkmoor {

enum class LoginItemStatus {
    notRegistered = 0,
    enabled = 1,
    requiresApproval = 2,  ///< the person said no
    notFound = 3,          ///< the service knows of no such item
};

}  // namespace larkmoor

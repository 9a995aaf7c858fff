// Registration of one login item: this application, or an agent whose property list is in the bundle.
#pragma once

#include <expected>
#include <string>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// In the numbering of the login-item service.
enum class LoginItemStatus {
    notRegistered = 0,
    enabled = 1,
    requiresApproval = 2,  ///< the user disabled it
    notFound = 3,          ///< the service does not know such an item
};

/// Main thread. Errors are text for a log. A call that was interrupted is completed by the next one.
class LoginItemService {
  public:
    virtual ~LoginItemService() = default;

    /// `notFound` where the service cannot be asked.
    virtual Task<LoginItemStatus> status() = 0;
    /// Takes effect now and at every login; an agent starts at once if its list says so. Fails for an item that the
    /// user disabled.
    virtual Task<std::expected<void, std::string>> registerItem() = 0;
    /// Stops a running agent.
    virtual Task<std::expected<void, std::string>> unregisterItem() = 0;
};

}  // namespace larkmoor

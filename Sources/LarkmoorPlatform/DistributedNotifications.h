// Notifications between the programs of this user: a name, an optional object and a small dictionary.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace larkmoor {

/// Main thread. A notification reaches those who observe it when it is posted; it is not stored, and the sender does
/// not learn whether anybody received it.
class DistributedNotifications {
  public:
    using Info = std::map<std::string, std::string>;
    using Handler = std::function<void(std::optional<std::string> object, Info info)>;

    /// Ends its observation when destroyed; the handler may destroy it.
    class Token {
      public:
        virtual ~Token() = default;
    };

    virtual ~DistributedNotifications() = default;

    /// Reaches every observer of the name, those in this program included. An empty object counts as none.
    virtual void post(const std::string& name, const std::optional<std::string>& object, const Info& info) = 0;

    /// Calls `handler` from the main loop, once for each notification with exactly this name.
    [[nodiscard]] virtual std::unique_ptr<Token> observe(const std::string& name, Handler handler) = 0;
};

}  // namespace larkmoor

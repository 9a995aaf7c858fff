// Notifications between this user's programs: a name, perhaps an object, and a small dictionary.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace larkmoor {

/// Main thread. Nothing is kept for those who come later, and nobody is told whether anybody listened.
class DistributedNotifications {
  public:
    using Info = std::map<std::string, std::string>;
    using Handler = std::function<void(std::optional<std::string> object, Info info)>;

    /// An observation lasts as long as its token; the handler may destroy it.
    class Token {
      public:
        virtual ~Token() = default;
    };

    virtual ~DistributedNotifications() = default;

    /// Tells every observer of the name, this program's own included. An empty object is none.
    virtual void post(const std::string& name, const std::optional<std::string>& object, const Info& info) = 0;

    /// `handler` comes from the main loop, once for each notification of that very name, which is an identifier.
    [[nodiscard]] virtual std::unique_ptr<Token> observe(const std::string& name, Handler handler) = 0;
};

}  // namespace larkmoor

// Alerts shown as desktop notifications, whose actions are the alert's buttons.
#pragma once

#include <chrono>
#include <memory>

#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor {

/// Main thread; the bus outlives it. Failures to show an alert are written to the system's log.
class NotificationAlerts final : public Alerts {
  public:
    /// A question that nobody answers is withdrawn after this and counts as not shown: the desktop may keep it out of
    /// sight.
    static constexpr std::chrono::seconds patience{60};

    /// Questions are critical, which stay on the screen and are shown where others are kept back. News are not.
    enum class Manner { question, news };

    explicit NotificationAlerts(SessionBus& bus, std::chrono::milliseconds limit = patience,
                                Manner manner = Manner::question)
        : bus_(bus), limit_(limit), manner_(manner) {}

    /// Withdraws the last question if it still stands, since nobody would hear the answer.
    ~NotificationAlerts() override;

    Task<AlertAnswer> show(Alert alert, AlertWatch watch) override;

  private:
    struct Question;

    BusMessage call(const std::string& member);
    BusMessage notification(const Alert& alert, bool hasMarkup);

    SessionBus& bus_;
    const std::chrono::milliseconds limit_;
    const Manner manner_;
    std::weak_ptr<Question> last_;
};

}  // namespace larkmoor

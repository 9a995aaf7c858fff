// Whether a call is being recorded now, and who can tell.
#pragma once

#include <boost/describe.hpp>

#include <functional>
#include <memory>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorBase/Task.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

BOOST_DEFINE_ENUM_CLASS(MeetingReading, live, clear)

/// Main thread.
class MeetingReporting {
  public:
    virtual ~MeetingReporting() = default;

    /// May take as long as the daemon does, which may be for ever.
    virtual Task<MeetingReading> meetingReading() = 0;
};

/// Asks the daemon. Whatever is not a plain yes is `clear`: a daemon that cannot answer records no call.
class LiveMeetingReporter final : public MeetingReporting {
  public:
    using Ask = std::function<Task<GatewayResponse>()>;

    explicit LiveMeetingReporter(std::shared_ptr<LarkmoorClient> client);
    explicit LiveMeetingReporter(Ask ask) : ask_(std::move(ask)) {}

    Task<MeetingReading> meetingReading() override;

  private:
    Ask ask_;
};

}  // namespace larkmoor

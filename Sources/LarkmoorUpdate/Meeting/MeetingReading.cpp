#include "LarkmoorUpdate/Meeting/MeetingReading.h"

namespace larkmoor {

LiveMeetingReporter::LiveMeetingReporter(std::shared_ptr<LarkmoorClient> client)
    : ask_([client = std::move(client)] { return client->send(GatewayRequest::Read{ReadRequest::MeetingLive{}}); }) {}

Task<MeetingReading> LiveMeetingReporter::meetingReading() {
    const GatewayResponse answer = co_await ask_();
    const auto* flag = answer.as<GatewayResponse::Flag>();
    co_return flag != nullptr && flag->_0 ? MeetingReading::live : MeetingReading::clear;
}

}  // namespace larkmoor

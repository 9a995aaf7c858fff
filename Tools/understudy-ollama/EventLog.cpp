#include "EventLog.h"

#include <fcntl.h>

#include <chrono>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/JSON/Encoder.h"

namespace larkmoor::modelhost {

EventLog::EventLog(const std::string& path)
    : file_(path.empty() ? -1 : ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644)) {}

void EventLog::note(Event event) {
    if (!file_) return;
    event.at = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    auto line = Encoder::encode(event);
    if (!line) {  // a body or a path that is not UTF-8
        event.body.reset(), event.path.reset();
        line = Encoder::encode(event);
    }
    if (!line) return;
    line->push_back(std::byte{'\n'});
    (void)Files::writeAll(file_.get(), *line, "the log");
}

}  // namespace larkmoor::modelhost

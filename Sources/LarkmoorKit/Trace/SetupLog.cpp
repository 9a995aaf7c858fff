#include "LarkmoorKit/Trace/SetupLog.h"

#include <fcntl.h>
#include <fmt/format.h>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/SerialQueue.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/UTF8.h"
#include "LarkmoorPlatform/Process.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor::SetupLog {

namespace {

SerialQueue& queue() {
    static SerialQueue lines{"dev.larkmoor.setup-log"};
    return lines;
}

/// No line of a helper is longer, and none of ours is nearly as long.
constexpr std::size_t maxText = std::size_t{64} << 10U;

/// The beginning of the text that fits, at the end of a character if it is UTF-8.
std::string_view fitting(std::string_view text) {
    if (text.size() <= maxText) return text;
    std::size_t end = maxText;
    const auto isInCharacter = [&] { return (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80; };
    while (end > maxText - 3 && isInCharacter()) --end;
    return text.substr(0, end);
}

}  // namespace

std::string path(std::string_view home) {
    return fmt::format("{}/Library/Logs/{}-journey.log", home, ClientInstance::logStem);
}

void line(std::string text) {
    queue().add(
        [date = std::chrono::system_clock::now(), text = std::move(text)] { append(path(homeFolder()), date, text); });
}

std::string stamped(Time date, std::string_view text) {
    const std::string_view shown = fitting(text);
    return fmt::format("{} {}{}\n", iso8601(date), printable(shown), shown.size() < text.size() ? "…" : "");
}

void append(const std::string& path, Time date, std::string_view text) {
    if (!UTF8::isValid(text)) return;
    const FileDescriptor file{::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, ClientStoreMode::file)};
    if (!file) return;
    static_cast<void>(Files::writeAll(file.get(), asBytes(stamped(date, text)), path));
}

void flush() { queue().drain(); }

}  // namespace larkmoor::SetupLog

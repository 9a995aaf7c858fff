#include "Play.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "LarkmoorBase/Files.h"
#include "LarkmoorWire/Models/MeetingModels.h"

namespace larkmoor::understudy {

namespace {

namespace fs = std::filesystem;

std::string placed(std::string text, const Folders& folders) {
    for (const auto& [name, folder] : {std::pair{std::string_view{"{models}"}, &folders.models},
                                       std::pair{std::string_view{"{asr-models}"}, &folders.asrModels}}) {
        for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + folder->size()))
            text.replace(at, name.size(), *folder);
    }
    return text;
}

bool write(std::string_view text) {
    return Files::writeAll(STDOUT_FILENO, asBytes(text), "standard output").has_value();
}

[[noreturn]] void waitForEver() {
    for (;;) ::pause();
}

bool make(const std::string& path, Int size) {
    if (!Files::makeFolders(fs::path{path}.parent_path().string(), 0700)) return false;
    return Files::replace(path, Bytes(static_cast<std::size_t>(size)), 0600).has_value();
}

void startChild(const std::string& manner) {
    if (::fork() != 0) return;
    // Nobody looks after it: it ends by itself.
    constexpr unsigned seconds = 60;
    ::alarm(seconds);
    if (manner.starts_with("leaves")) ::setsid();
    while (manner.ends_with("floods") && write("x\n")) {
    }
    waitForEver();
}

/// As many times as wanted, in pieces that a fast writer would use.
bool writeTimes(const std::string& text, Int times, std::chrono::milliseconds pause) {
    constexpr std::size_t pieceSize = 65536;
    std::size_t each = 1;
    std::string piece = text;
    if (pause.count() == 0 && !text.empty()) {
        while (piece.size() < pieceSize && (times < 0 || static_cast<Int>(each) * 2 <= times))
            piece += piece, each *= 2;
    }
    for (Int left = times; left != 0;) {
        const bool isWhole = left < 0 || left >= static_cast<Int>(each);
        if (!write(isWhole ? std::string_view{piece} : std::string_view{text})) return false;
        if (left > 0) left -= isWhole ? static_cast<Int>(each) : 1;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

bool play(const Step& step, const Folders& folders) {
    if (step.file && !make(placed(*step.file, folders), step.size.value_or(1))) return false;
    std::string text;
    if (step.line) text += placed(*step.line, folders) + "\n";
    if (step.text) text += placed(*step.text, folders);
    if (step.bytes) text += asText(*step.bytes);
    if (step.fill) text.append(static_cast<std::size_t>(*step.fill), 'x');
    const std::chrono::milliseconds pause{step.pauseMilliseconds.value_or(0)};
    if (!writeTimes(text, step.times.value_or(1), pause)) return false;
    if (step.child) startChild(*step.child);
    if (step.hang.value_or(false)) waitForEver();
    return true;
}

bool hasEntries(const std::string& folder) {
    const auto names = Files::names(folder);
    return names && !names->empty();
}

}  // namespace

std::vector<Step> honestSteps(const Folders& folders, std::optional<Int> pauseMilliseconds) {
    constexpr Int usualPause = 50;
    std::vector<Step> steps;
    const auto say = [&](std::string line) {
        steps.push_back({.line = std::move(line), .pauseMilliseconds = pauseMilliseconds.value_or(usualPause)});
    };
    const std::string asr = fmt::format("{{asr-models}}/{}", MeetingModels::asrName);
    if (hasEntries(placed(asr, folders))) {
        say(R"({"component":"asr","event":"done","op":1,"cached":true,"ok":true})");
    } else {
        say(fmt::format(R"({{"component":"asr","event":"start","op":1,"dir":"{}"}})", asr));
        say(R"({"component":"asr","event":"phase","op":1,"phase":"download"})");
        constexpr int pieces = 20;
        for (Int piece = 1; piece <= pieces; ++piece) {
            say(fmt::format(R"({{"component":"asr","event":"bytes","op":1,"fraction":{},"done":{}}})",
                            static_cast<double>(piece) / pieces, MeetingModels::asrMeasuredBytes / pieces * piece));
        }
        steps.push_back({.file = asr + "/model.bin", .size = 4096});
        say(R"({"component":"asr","event":"done","op":1,"cached":false,"ok":true})");
    }
    if (!hasEntries(folders.models)) steps.push_back({.file = "{models}/voices.bin", .size = 4096});
    say(R"({"component":"vad","event":"done","op":2,"present":true,"ok":true})");
    return steps;
}

bool play(const std::vector<Step>& steps, const Folders& folders) {
    return std::ranges::all_of(steps, [&](const Step& step) { return play(step, folders); });
}

}  // namespace larkmoor::understudy

// larkmoor-transcribe: a stand-in for the speech helper's verb "prefetch", for tests and development. See --help.
#include <fmt/format.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <expected>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Files.h"
#include "Play.h"
#include "ScenarioFile.h"

namespace larkmoor::understudy {

namespace {

constexpr std::string_view scenarioName = "larkmoor-transcribe.json";

void printHelp() {
    fmt::print(R"(usage: larkmoor-transcribe prefetch --models DIR --asr-models DIR

Tells on standard output, as lines of JSON, a download of the speech model to --asr-models that takes a second, and of
the voice models to --models; a model that is there is told to be. Small files stand for the models.

Where $HOME/{} is, it plays that instead, a JSON object:
  steps   an array of objects, each with any of
    file, size               is created, with so many zeros
    line, text, bytes, fill  is written: with a line feed, without, base64, so many letters x
    times                    so many times; -1 for ever
    pauseMilliseconds        after each of these times
    child                    a child process that holds standard output for a minute: "waits" or "floods" it, or does so
                             after it left the group: "leaves" or "leaves, floods"
    hang                     true: goes on no more
  pauseMilliseconds  without steps: the download above, with this pause after each of its lines
  exit    the exit status
  signal  or the signal by which it ends
"{{models}}" and "{{asr-models}}" in file, line and text stand for the folders.

  {{"steps": [{{"line": "{{\"component\":\"asr\",\"event\":\"failed\"}}", "times": -1, "pauseMilliseconds": 100}}]}}
)",
               scenarioName);
}

int prefetch(const Folders& folders) {
    const auto played = homeScenario<Scenario>(scenarioName);
    if (!played) {
        fmt::print(stderr, "larkmoor-transcribe: {}\n", played.error());
        return 2;
    }
    const auto steps = played->steps ? *played->steps : honestSteps(folders, played->pauseMilliseconds);
    if (!play(steps, folders)) return EXIT_FAILURE;
    if (played->signal) {
        // Sanitizers would turn a crash into an exit.
        ::signal(static_cast<int>(*played->signal), SIG_DFL);
        ::raise(static_cast<int>(*played->signal));
    }
    return static_cast<int>(played->exit.value_or(0));
}

}  // namespace

}  // namespace larkmoor::understudy

int main(int count, char** arguments) {
    using namespace larkmoor::understudy;
    const std::vector<std::string_view> words(arguments + 1, arguments + count);
    if (words.size() == 1 && words[0] == "--help") return printHelp(), EXIT_SUCCESS;
    if (words.size() == 5 && words[0] == "prefetch" && words[1] == "--models" && words[3] == "--asr-models")
        return prefetch({.models = std::string{words[2]}, .asrModels = std::string{words[4]}});
    fmt::print(stderr, "larkmoor-transcribe: see --help\n");
    return 2;
}

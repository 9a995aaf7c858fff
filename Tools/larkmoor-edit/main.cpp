// larkmoor-edit: changes one item of a JSON or TOML file and leaves every other byte as it is.
#include <unistd.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"
#include "LarkmoorConnectors/ConfigFile/Transaction.h"
#include "Outcome.h"

namespace larkmoor::edit {

namespace {

std::string lines(const std::vector<Observation>& observations) {
    std::string text;
    for (const Observation& observation : observations) text += observation.subject + ": " + observation.text + "\n";
    return text;
}

Outcome commit(const CommandLine& line, const std::string& path, Bytes before, Bytes after) {
    const FileChange change{.path = path, .label = line.file, .before = std::move(before), .after = std::move(after)};
    const TransactionResult result = Transaction::commit(std::span{&change, 1}, std::chrono::system_clock::now());
    return result.visit(
        [](const TransactionResult::Committed& committed) {
            return Outcome{.output = lines(committed.observations), .committed = true};
        },
        [](const TransactionResult::Refused& refused) {
            return Outcome{.status = Stop::refused, .errors = lines(refused.observations)};
        },
        [](const TransactionResult::Unchanged&) { return Outcome{}; });
}

Outcome stopped(const Stop& stop) { return {.status = stop.status, .errors = stop.words}; }

/// `words` are those after the program's name. Reads the file, and with --in-place replaces it.
Outcome run(std::vector<std::string> words) {
    if (words == std::vector<std::string>{"--help"}) return {.output = usage() + "\n"};
    const auto line = commandLine(std::move(words));
    if (!line) return stopped(line.error());
    const auto change =
        line->verb->prepare(line->arguments, line->comments ? JSONDialect::withComments : JSONDialect::strict);
    if (!change) return stopped(change.error());
    const bool isFilter = line->file == "-";
    const std::string path = isFilter ? line->file : ConfigPath::canonical(line->file);
    auto before = isFilter ? Files::readAll(STDIN_FILENO, path) : Files::read(path);
    if (!before) return stopped({Stop::refused, line->file + ": " + before.error().reason()});
    auto after = (*change)(*before);
    if (!after) return stopped(after.error());
    if (!line->verb->changes) return {};
    if (line->inPlace) return commit(*line, path, std::move(*before), std::move(*after));
    return {.output = std::string{asText(*after)}};
}

}  // namespace

}  // namespace larkmoor::edit

int main(int count, char** words) {
    return larkmoor::runAndPrint([&] { return larkmoor::edit::run({words + 1, words + count}); });
}

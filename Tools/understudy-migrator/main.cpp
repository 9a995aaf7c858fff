// larkmoor-migrator: a stand-in for the family's Migrator, for tests and development. See --help.
#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <expected>
#include <span>
#include <string>
#include <string_view>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/SHA256.h"
#include "LarkmoorBase/WholeNumber.h"
#include "ScenarioFile.h"
#include "Store.h"
#include "Verbs.h"

namespace larkmoor::understudy {

namespace {

constexpr std::string_view scenarioName = "larkmoor-migrator.json";

void printHelp() {
    fmt::print(R"(usage: larkmoor-migrator --db FILE --json [--key-from-stdin]
       larkmoor-migrator --db FILE --apply --backup-dir DIR [--key-from-stdin]
       larkmoor-migrator --db FILE --floor [--key-from-stdin]
       larkmoor-migrator --db FILE --make ROWS [--key-from-stdin]

Plans, applies and judges the steps that bring a store to this build's version, as the application asks for them;
--make makes a store of the oldest version. Exits with 0 when it is done, 1 when a step failed, 2 when it refuses.

Where $HOME/{} is, a JSON object, it does as that says:
  troubles       an array of objects: "at" is the point where it happens, one of plan, latch, backup, step 1, step 2,
                 step 3, done, floor; and then any of exit, signal, hang (true), pauseMilliseconds, and child (true), a
                 child process that holds the output
  planOutput     is written in place of the plan
  namesNoBackup  true: makes a backup, and does not tell
  losesBackup    true: removes the backup after the last step
  statedSize     in place of the backup's size

  {{"troubles": [{{"at": "step 2", "signal": 9}}]}}
)",
               scenarioName);
}

int wrongUsage(std::string_view words) {
    fmt::print(stderr, "larkmoor-migrator: {}; see --help\n", words);
    return 2;
}

int run(std::span<char* const> words) {
    Order order;
    std::string_view verb;
    Int rows = 0;
    bool hasKey = false;
    for (std::size_t at = 0; at < words.size(); ++at) {
        const std::string_view word = words[at];
        const bool hasValue = at + 1 < words.size();
        if (word == "--help") return printHelp(), 0;
        if (word == "--key-from-stdin") {
            hasKey = true;
        } else if (word == "--db" && hasValue) {
            order.database = words[++at];
        } else if (word == "--backup-dir" && hasValue) {
            order.backupDir = words[++at];
        } else if (word == "--make" && hasValue) {
            verb = word;
            const auto number = wholeNumber<Int>(words[++at]);
            if (number.value_or(-1) < 0) return wrongUsage("--make wants a number");
            rows = *number;
        } else if (word == "--json" || word == "--apply" || word == "--floor") {
            verb = word;
        } else {
            return wrongUsage(fmt::format("{} is unknown or wants a value", word));
        }
    }
    if (order.database.empty() || verb.empty()) return wrongUsage("--db and one of the verbs are needed");
    if (verb == "--apply" && order.backupDir.empty()) return wrongUsage("--apply wants --backup-dir");
    auto played = homeScenario<Scenario>(scenarioName);
    if (!played) return wrongUsage(played.error());
    order.scenario = *std::move(played);
    if (hasKey) {
        const auto key = Files::readAll(STDIN_FILENO, "standard input");
        if (!key) return wrongUsage(key.error().description());
        order.keyDigest = SHA256::ofBytes(*key);
    }
    if (verb == "--json") return plan(order);
    if (verb == "--apply") return apply(order);
    return verb == "--floor" ? judge(order) : make(order, rows);
}

}  // namespace

}  // namespace larkmoor::understudy

int main(int count, char** arguments) {
    return larkmoor::understudy::run({arguments + 1, static_cast<std::size_t>(count > 0 ? count - 1 : 0)});
}

// larkmoor-update: what the application knows and decides of updates, one verb at a time.
#include <array>

#include "Command.h"

namespace larkmoor::update {

namespace {

constexpr auto verbs = std::to_array<Verb<Arguments>>({
    {"compare", "A B", 2, compare},
    {"inspect", "BACKUP [SIZE]", Verb<Arguments>::anyCount, inspect},
    {"latch", "STORE", 1, latch},
    {"ledger", "FOLDER", 1, ledger},
    {"pick", "FEED --build B --system V [--base URL]", 1, pick},
    {"plan", "FILE", 1, plan},
    {"row", "[EVENT[=VALUE]...]", Verb<Arguments>::anyCount, row},
    {"verify", "ARCHIVE --key K --signature S", 1, verify},
    {"vouch", "LOG", 1, vouch},
});

constexpr auto options = std::to_array<VerbOption<Arguments>>({
    {"--base", &Arguments::base},
    {"--build", &Arguments::build},
    {"--key", &Arguments::key},
    {"--signature", &Arguments::signature},
    {"--system", &Arguments::system},
});

}  // namespace

}  // namespace larkmoor::update

int main(int count, char** words) {
    using namespace larkmoor::update;
    constexpr larkmoor::VerbTool<Arguments> tool{.name = "larkmoor-update", .verbs = verbs, .options = options};
    return tool.main(count, words);
}

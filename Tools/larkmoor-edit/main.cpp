// larkmoor-edit: one change in a JSON or TOML file, every other byte left as it was.
#include <unistd.h>

#include "LarkmoorBase/Files.h"
#include "Run.h"
#include "Stop.h"

int main(int count, char** words) {
    using namespace larkmoor;
    const edit::Outcome outcome = edit::run({words + 1, words + count});
    const auto printed = Files::writeAll(STDOUT_FILENO, outcome.output, "standard output");
    const std::string errors = printed ? outcome.errors : printed.error().description() + "\n";
    // Where standard error is gone, too, the exit status still tells.
    [[maybe_unused]] const auto told = Files::writeAll(STDERR_FILENO, asBytes(errors), "standard error");
    return printed || outcome.committed ? outcome.status : edit::Stop::refused;
}

// larkmoor-connect: the connectors' verbs on a given home.
#include <unistd.h>

#include "LarkmoorBase/Files.h"
#include "Run.h"

int main(int count, char** arguments) {
    using namespace larkmoor;
    const connect::Outcome outcome = connect::run({arguments + 1, arguments + count});
    const auto printed = Files::writeAll(STDOUT_FILENO, asBytes(outcome.output), "standard output");
    const std::string errors = printed ? outcome.errors : printed.error().description() + "\n";
    // If standard error cannot be written either, the exit status still tells.
    (void)Files::writeAll(STDERR_FILENO, asBytes(errors), "standard error");
    return printed ? outcome.status : connect::Outcome::refused;
}

// larkmoor-connect: the connectors' verbs on a given home.
#include "Outcome.h"
#include "Run.h"

int main(int count, char** arguments) {
    return larkmoor::runAndPrint([&] { return larkmoor::connect::run({arguments + 1, arguments + count}); });
}

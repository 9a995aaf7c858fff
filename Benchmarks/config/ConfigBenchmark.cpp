// Reading and editing configuration files against the usual libraries, on the same documents in one run.
#include <cstdio>

#include "config/Rows.h"

int main() {
    using namespace larkmoor::bench;
    if (runJSONRows() && runTOMLRows()) return 0;
    std::puts("the parties do not do the same work");
    return 1;
}

// Runs a program to its end, with all that it reads and says.
#pragma once

#include <fstream>
#include <iterator>

#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {

struct ToolRun {
    int status = 0;  ///< the exit status, or 128 and the signal
    std::string out, err;
};

/// `words[0]` is the program's path. The three streams are files, so that nobody waits for anybody.
inline ToolRun runTool(std::vector<std::string> words, std::string_view input = {}) {
    const TemporaryFolder folder;
    std::ofstream{folder / "in", std::ios::binary} << input;
    const std::string streams = "<" + folder / "in" + " >" + folder / "out" + " 2>" + folder / "err";
    words.insert(words.begin(), {"/bin/sh", "-c", "exec \"$0\" \"$@\" " + streams});
    const int status = ChildProcess{std::move(words)}.wait();
    const auto all = [&](const char* name) {
        std::ifstream file{folder / name, std::ios::binary};
        return std::string{std::istreambuf_iterator<char>{file}, {}};
    };
    return {status, all("out"), all("err")};
}

}  // namespace larkmoor::testing

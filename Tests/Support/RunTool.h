// Runs a program to its end, with all that it reads and says.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {

struct ToolRun {
    int status = 0;  ///< the exit status, or 128 and the signal
    std::string out, err;
};

/// `words[0]` is the program's path. The three streams are files, so that nobody waits for anybody.
inline ToolRun runTool(std::vector<std::string> words, std::string_view input = {}) {
    const TemporaryFolder folder;
    const std::string in = folder / "in", out = folder / "out", err = folder / "err";
    std::ofstream{in, std::ios::binary} << input;
    std::vector<char*> list;
    list.reserve(words.size() + 1);
    for (std::string& word : words) list.push_back(word.data());
    list.push_back(nullptr);
    const pid_t child = ::fork();
    if (child < 0) throw std::runtime_error("no process for " + words.front());
    if (child == 0) {
        const auto stream = [](const std::string& path, int flags, int as) {
            const int file = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
            if (file < 0 || ::dup2(file, as) < 0) ::_exit(127);
        };
        stream(in, O_RDONLY, STDIN_FILENO);
        stream(out, O_WRONLY | O_CREAT, STDOUT_FILENO);
        stream(err, O_WRONLY | O_CREAT, STDERR_FILENO);
        ::execv(list.front(), list.data());
        ::_exit(127);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    const auto all = [](const std::string& path) {
        std::ifstream file{path, std::ios::binary};
        return std::string{std::istreambuf_iterator<char>{file}, {}};
    };
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), all(out), all(err)};
}

}  // namespace larkmoor::testing

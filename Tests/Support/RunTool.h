// Runs a program to its end, with all that it reads and says.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace larkmoor::testing {

struct ToolRun {
    int status = 0;  ///< the exit status, or 128 and the signal
    std::string out, err;
};

/// `words[0]` is the program's path. The three streams are files without names, so that nobody waits for anybody.
inline ToolRun runTool(const std::vector<std::string>& words, std::string_view input = {}) {
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    const File streams[] = {
        {std::tmpfile(), std::fclose}, {std::tmpfile(), std::fclose}, {std::tmpfile(), std::fclose}};
    std::fwrite(input.data(), 1, input.size(), streams[0].get());
    std::fflush(streams[0].get());
    std::rewind(streams[0].get());
    std::vector<char*> list;
    for (const std::string& word : words) list.push_back(const_cast<char*>(word.c_str()));
    list.push_back(nullptr);
    const pid_t child = ::fork();
    if (child < 0) throw std::runtime_error("no process for " + words.front());
    if (child == 0) {
        for (int stream = 0; stream < 3; ++stream) ::dup2(::fileno(streams[stream].get()), stream);
        ::execv(list.front(), list.data());
        ::_exit(127);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    const auto all = [](std::FILE* file) {
        std::string text;
        char piece[4096];
        std::rewind(file);
        while (const std::size_t count = std::fread(piece, 1, sizeof piece, file)) text.append(piece, count);
        return text;
    };
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), all(streams[1].get()),
            all(streams[2].get())};
}

}  // namespace larkmoor::testing

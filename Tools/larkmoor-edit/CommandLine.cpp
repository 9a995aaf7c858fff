#include "CommandLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace larkmoor::edit {

std::string usage() {
    std::string text = "usage:\n";
    for (const auto verbs : {jsonVerbs(), tomlVerbs()}) {
        for (const Verb& verb : verbs) {
            text += fmt::format("  larkmoor-edit {} {}{}{} {}{}FILE\n", verb.format, verb.name,
                                verb.takesComments ? " [--comments]" : "", verb.changes ? " [--in-place]" : "",
                                verb.arguments, verb.arguments.empty() ? "" : " ");
        }
    }
    return text +
           "PATH is a JSON array such as [\"hooks\",\"PreToolUse\",0], NAME one such as "
           "[\"mcp_servers\",\"larkmoor\"], LITERAL a\n"
           "JSON text; the VALUE of a TOML key is written to the letter. A changed document goes to standard output, "
           "or with\n"
           "--in-place into FILE, beside a copy of what it held. FILE - is standard input.";
}

namespace {

std::unexpected<Stop> wrong(const std::string& words) {
    return std::unexpected{Stop{Stop::wrongUsage, words.empty() ? usage() : words + "\n" + usage()}};
}

const Verb* find(std::string_view format, std::string_view name) {
    for (const auto verbs : {jsonVerbs(), tomlVerbs()}) {
        for (const Verb& verb : verbs) {
            if (verb.format == format && verb.name == name) return &verb;
        }
    }
    return nullptr;
}

/// Moves the options from the words into the command line.
std::expected<void, Stop> takeOptions(std::vector<std::string>& words, CommandLine& line) {
    std::vector<std::string> others;
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (*word == "--") {
            others.insert(others.end(), word + 1, words.end());
            break;
        }
        if (*word == "--comments")
            line.comments = true;
        else if (*word == "--in-place")
            line.inPlace = true;
        else if (word->starts_with("--"))
            return wrong("there is no option " + *word);
        else
            others.push_back(*word);
    }
    words = std::move(others);
    return {};
}

}  // namespace

std::expected<CommandLine, Stop> commandLine(std::vector<std::string> words) {
    CommandLine line;
    if (auto taken = takeOptions(words, line); !taken) return std::unexpected{taken.error()};
    if (words.size() < 2) return wrong("");
    line.verb = find(words[0], words[1]);
    if (line.verb == nullptr) return wrong(fmt::format("there is no verb {} {}", words[0], words[1]));
    const std::size_t given = words.size() - 2, wanted = line.verb->count + 1;
    if (given < wanted || (given > wanted && !line.verb->takesMore)) {
        return wrong(
            fmt::format("{} {} does not take {} argument{}", words[0], words[1], given, given == 1 ? "" : "s"));
    }
    if (line.comments && !line.verb->takesComments) return wrong("--comments does not go with " + words[1]);
    if (line.inPlace && !line.verb->changes) return wrong("--in-place does not go with " + words[1]);
    line.file = words.back();
    if (line.inPlace && line.file == "-") return wrong("--in-place wants a file, and - is standard input");
    line.arguments.assign(words.begin() + 2, words.end() - 1);
    return line;
}

}  // namespace larkmoor::edit

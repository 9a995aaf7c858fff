// The frame of a tool with verbs: reads VERB [ARGUMENT...] [OPTION...] by the tool's tables, runs the verb, prints what
// it gives and turns it into an exit status.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Outcome.h"

namespace larkmoor {

/// What every verb is given; a tool's own arguments derive from it.
struct VerbArguments {
    std::vector<std::string> words{};  ///< those of the verb, without options
    bool json = false;
};

template <class Arguments>
struct Verb {
    static constexpr std::size_t anyCount = std::numeric_limits<std::size_t>::max();

    std::string_view name;
    std::string_view words;  ///< as the usage shows them
    std::size_t count;       ///< how many words it wants
    Outcome (*run)(const Arguments& arguments);
};

/// An option with a value, taken by every verb; the last one counts.
template <class Arguments>
struct VerbOption {
    std::string_view name;
    std::string Arguments::* value;
};

template <class Arguments>
struct VerbFlag {
    std::string_view name;
    bool Arguments::* value;
};

template <class Arguments>
struct VerbTool {
    std::string_view name;
    std::span<const Verb<Arguments>> verbs;
    std::span<const VerbOption<Arguments>> options{};
    std::span<const VerbFlag<Arguments>> flags{};
    std::string_view remarks{};  ///< what the usage says after the verbs
    /// Runs before the verb; returns what is wrong with the options, or nothing.
    std::string (*prepare)(const Arguments& arguments) = nullptr;

    /// For `main` to return.
    int main(int count, const char* const* words) const {
        return runAndPrint([&] { return run({words + 1, words + count}); });
    }

  private:
    std::string usage() const {
        std::string text = fmt::format("usage: {} VERB [ARGUMENT...] [--json], VERB one of:", name);
        for (const auto& verb : verbs) text += fmt::format("\n  {} {}", verb.name, verb.words);
        return text.append(remarks);
    }

    Outcome wrongUsage(const std::string& message) const {
        return {.status = Outcome::wrongUsage, .errors = message + "\n" + usage()};
    }

    Outcome run(const std::vector<std::string>& words) const {
        if (words == std::vector<std::string>{"--help"}) return {.output = usage() + "\n"};
        Arguments arguments;
        bool areOptionsOver = false;
        for (std::size_t at = 0; at < words.size(); ++at) {
            const std::string& word = words[at];
            const auto flag = std::ranges::find(flags, word, &VerbFlag<Arguments>::name);
            const auto option = std::ranges::find(options, word, &VerbOption<Arguments>::name);
            if (areOptionsOver || !word.starts_with("--")) {
                arguments.words.push_back(word);
            } else if (word == "--") {
                areOptionsOver = true;
            } else if (word == "--json") {
                arguments.json = true;
            } else if (flag != flags.end()) {
                arguments.*flag->value = true;
            } else if (option != options.end() && at + 1 < words.size() && !words[at + 1].empty()) {
                arguments.*option->value = words[++at];
            } else {
                return wrongUsage((option == options.end() ? "there is no option " : "a value is wanted after ") +
                                  word);
            }
        }
        return run(std::move(arguments));
    }

    Outcome run(Arguments arguments) const {
        if (arguments.words.empty()) return wrongUsage("there is no verb");
        const std::string word = arguments.words.front();
        arguments.words.erase(arguments.words.begin());
        const auto verb = std::ranges::find(verbs, word, &Verb<Arguments>::name);
        if (verb == verbs.end()) return wrongUsage("there is no verb " + word);
        if (verb->count != verb->anyCount && arguments.words.size() != verb->count) {
            return wrongUsage(fmt::format("{} wants {}", word, verb->count == 0 ? "no argument" : verb->words));
        }
        if (const std::string wrong = prepare ? prepare(arguments) : ""; !wrong.empty()) return wrongUsage(wrong);
        return verb->run(arguments);
    }
};

}  // namespace larkmoor

// What the stand-in of the speech helper plays: an honest download, or the steps of a scenario.
#pragma once

#include <string>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor::understudy {

// One step; what it names is done in this order. "{models}" and "{asr-models}" stand for the folders of the command.
//   file               is created in its folders, with `size` zeros
//   line, text         are written, a line with a line feed; bytes are base64
//   fill               so many times the letter x is written
//   times              line, text, bytes and fill again; -1 is for ever
//   pauseMilliseconds  after each of these times
//   child              a child that holds standard output for a minute, see --help
//   hang               never goes on
LARKMOOR_RECORD(Step, (std::optional<std::string>, file), (std::optional<Int>, size),
                (std::optional<std::string>, line), (std::optional<std::string>, text), (std::optional<Bytes>, bytes),
                (std::optional<Int>, fill), (std::optional<Int>, times), (std::optional<Int>, pauseMilliseconds),
                (std::optional<std::string>, child), (std::optional<bool>, hang))

// Without steps, the honest download, with a pause of `pauseMilliseconds` after each line.
LARKMOOR_RECORD(Scenario, (std::optional<std::vector<Step>>, steps), (std::optional<Int>, pauseMilliseconds),
                (std::optional<Int>, exit), (std::optional<Int>, signal))

struct Folders {
    std::string models, asrModels;
};

/// The models that are missing are made and told; one that is there is told to be.
std::vector<Step> honestSteps(const Folders& folders, std::optional<Int> pauseMilliseconds);

/// False if standard output or a file cannot be written.
bool play(const std::vector<Step>& steps, const Folders& folders);

}  // namespace larkmoor::understudy

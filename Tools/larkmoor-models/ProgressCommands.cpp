// The verb on the file of the setup's progress.
#include <fmt/format.h>

#include "Command.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorKit/Models/LocalModelsMenuLine.h"

namespace larkmoor::models {

Outcome line(const Arguments& arguments) {
    const auto line = LocalModelsMenuLine::line(LocalModelsProgress::read(arguments.words[0]));
    if (!line) return {.output = arguments.json ? "null\n" : ""};
    const auto* fill = std::get_if<RowProgresses::Fill>(&line->bar);
    if (!arguments.json) {
        constexpr int percent = 100;
        return {.output =
                    line->title + (fill ? fmt::format(" {}%", static_cast<int>(fill->value * percent)) : "") + "\n"};
    }
    // A title of ours and a fraction always have a JSON form.
    const auto title = Encoder::encode(line->title);
    const auto fraction = Encoder::encode(fill ? std::optional{fill->value} : std::nullopt);
    return {.output = fmt::format("{{\"title\":{},\"fraction\":{}}}\n", asText(*title), asText(*fraction))};
}

}  // namespace larkmoor::models

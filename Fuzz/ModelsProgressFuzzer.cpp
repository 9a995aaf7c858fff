// Any bytes are a progress or refused; one that was read is written and reads as the same, and whatever its numbers
// are, the menu's row is one of its few forms. The same bytes as a host's list of models give names or nothing.
#include <algorithm>
#include <array>
#include <string_view>

#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorKit/Models/LocalModelsMenuLine.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;

LARKMOOR_RECORD(Model, (std::string, name))
LARKMOOR_RECORD(Tags, (std::vector<Model>, models))

void readNames(BytesView bytes) {
    const auto names = LocalModel::names(bytes);
    if (!names) return;
    Tags tags;
    for (const std::string& name : *names) tags.models.push_back({name});
    require(LocalModel::names(Encoder::encode(tags).value()) == names, "a list of names is read again");
    require(LocalModel::ready(*names) ==
                std::ranges::any_of(*names,
                                    [](const std::string& name) {
                                        return (name + ":").starts_with(std::string{LocalModel::titleModel} + ":");
                                    }),
            "ready with any tag or none");
}

void showLine(const LocalModelsProgress& progress) {
    const auto line = LocalModelsMenuLine::line(progress, true);
    require(!LocalModelsMenuLine::line(progress, false), "a dead writer shows nothing");
    if (!line) {
        require(!progress.running || progress.allDownloadsDone(), "a living writer shows what it downloads");
        return;
    }
    constexpr std::array<std::string_view, 2> titles{"Setting up local models", "Updating the naming model"};
    std::string_view title = line->title;
    if (const auto* fill = std::get_if<RowProgresses::Fill>(&line->bar)) {
        require(fill->value >= 0 && fill->value <= 1, "a fraction is between 0 and 1");
    } else {
        require(title.ends_with("…"), "an open end is marked");
        title.remove_suffix(std::string_view{"…"}.size());
    }
    require(std::ranges::find(titles, title) != titles.end(), "the title is one of ours");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    readNames(bytes);
    const auto progress = LocalModelsProgress::decoded(bytes);
    if (!progress) return 0;
    const auto written = progress->encoded();
    require(written.has_value(), "what was read can be written");
    require(LocalModelsProgress::decoded(*written) == *progress, "it reads as the same progress");
    require(!progress->knownTotalBytes() == progress->downloadRows().empty(), "a total is of rows that download");
    (void)progress->footprintBytes();
    showLine(*progress);
    return 0;
}

#include "Pull.h"

#include <fmt/format.h>

#include <algorithm>

#include "Host.h"
#include "JSONText.h"

namespace larkmoor::modelhost {

namespace {

LARKMOOR_RECORD(StatusLine, (std::string, status))
LARKMOOR_RECORD(ProgressLine, (std::string, status), (std::string, digest), (Int, total),
                (std::optional<Int>, completed))

}  // namespace

void Pull::run(const ModelName& name) {
    connection_.begin(200, Connection::streamType, Framing::chunked);
    say("pulling manifest");
    // The registry's refusal follows the line that asks it.
    for (const Fault& fault : faults_) {
        if (fault.does == Does::error && !fault.before && !fault.layer) return connection_.perform(fault);
    }
    const ModelOffer* offer = host_.offerOf(name);
    if (offer == nullptr) return fail("pull model manifest: file does not exist");
    std::vector<Layer> layers;
    for (const LayerOffer& layer : offer->layers) layers.push_back(host_.layers.of(layer));
    layers.push_back(host_.layers.of(configOf(*offer)));
    for (std::size_t index = 0; index < layers.size() && connection_.isGoing(); ++index) download(index, layers[index]);
    for (const Layer& layer : late_) report(layer, layer.bytes);
    say("verifying sha256 digest");
    if (!connection_.isGoing() || !verify()) return;
    say("writing manifest");
    if (!connection_.isGoing()) return;
    if (const auto written = host_.files.write(name, manifestOf(layers)); !written)
        return fail(written.error().description());
    say("removing any unused layers");
    say("success");
    connection_.end();
}

void Pull::say(const char* status) {
    for (const Fault& fault : faults_) {
        if (fault.before == status) connection_.perform(fault);
    }
    connection_.write(jsonText(StatusLine{status}) + "\n");
}

void Pull::fail(std::string_view words) {
    connection_.write(errorLine(words));
    connection_.end();
}

void Pull::report(const Layer& layer, Int completed) {
    const std::string status = "pulling " + layer.digest.substr(layer.digest.find(':') + 1, 12);
    const auto told = totals_.find(layer.digest);
    connection_.write(jsonText(ProgressLine{status, layer.digest, told == totals_.end() ? layer.bytes : told->second,
                                            completed == 0 ? std::nullopt : std::optional{completed}}) +
                      "\n");
}

void Pull::download(std::size_t index, const Layer& layer) {
    // Another pull may be at the same layer.
    while (!host_.files.claim(layer.digest)) {
        connection_.pause(std::chrono::milliseconds{5});
        if (!connection_.isGoing()) return;
    }
    downloadAlone(index, layer);
    host_.files.release(layer.digest);
}

void Pull::downloadAlone(std::size_t index, const Layer& layer) {
    if (host_.files.holds({{}, layer.digest, layer.bytes})) return report(layer, layer.bytes);
    Int at = host_.files.partialBytes(layer);
    report(layer, at);
    for (;;) {
        const Int to = passFaults(index, layer, at);
        if (!connection_.isGoing()) return;
        if (at == layer.bytes) break;
        if (const auto appended = host_.files.append(layer, at, to); !appended)
            return fail(appended.error().description());
        const Int count = to - at;
        at = to;
        report(layer, at);
        throttle(count);
    }
    fresh_.push_back(layer);
    if (const auto completed = host_.files.complete(layer); !completed) fail(completed.error().description());
}

Int Pull::passFaults(std::size_t index, const Layer& layer, Int at) {
    Int to = std::min(layer.bytes, at + std::max<Int>(host_.scenario.pieceBytes.value_or(64 << 10), 1));
    for (Fault& fault : faults_) {
        if (fault.layer != static_cast<Int>(index)) continue;
        const Int place = fault.bytes.value_or(0);
        if (place > at) {
            to = std::min(to, place);
        } else {
            fault.layer.reset();  // once
            perform(fault, layer);
        }
    }
    return to;
}

void Pull::perform(const Fault& fault, const Layer& layer) {
    const Int size = fault.size.value_or(layer.bytes / 2);
    if (fault.does == Does::total) {
        totals_[layer.digest] = size;
    } else if (fault.does == Does::lateLayer) {
        late_.push_back(host_.layers.of({fmt::format("late {}", late_.size()), size}));
        report(late_.back(), 0);
    } else {
        connection_.perform(fault);
    }
}

void Pull::throttle(Int bytes) {
    const Int rate = host_.scenario.bytesPerSecond.value_or(0);
    if (rate == 0) return;
    received_ += bytes;
    const auto due = start_ + std::chrono::milliseconds{received_ * 1000 / rate};
    const auto left = due - std::chrono::steady_clock::now();
    if (left.count() > 0) connection_.pause(std::chrono::ceil<std::chrono::milliseconds>(left));
}

bool Pull::verify() {
    for (const Layer& layer : fresh_) {
        if (host_.files.isSound(layer.digest)) continue;
        host_.files.removeBlob(layer.digest);
        return fail("digest mismatch, file must be downloaded again: want " + layer.digest), false;
    }
    return true;
}

}  // namespace larkmoor::modelhost

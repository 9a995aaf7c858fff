#include "Host.h"

#include <fmt/format.h>

#include <algorithm>

#include "Flood.h"
#include "JSONText.h"
#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/Text.h"
#include "Pull.h"

namespace larkmoor::modelhost {

namespace {

using Text = std::optional<std::string>;

LARKMOOR_RECORD(Body, (Text, name), (Text, model), (Text, source), (Text, destination), (std::optional<bool>, stream))
LARKMOOR_RECORD(ListedModel, (std::string, name), (std::string, model), (std::string, modified_at), (Int, size),
                (std::string, digest))
LARKMOOR_RECORD(Tags, (std::vector<ListedModel>, models))
LARKMOOR_RECORD(Generated, (std::string, model), (std::string, created_at), (std::string, response), (bool, done),
                (std::string, done_reason))

/// One answer in the making.
struct Exchange {
    Host& host;
    Connection& connection;
    const Request& request;
    Body body;

    std::string nameText() const { return body.model ? *body.model : body.name.value_or(""); }

    void fail(int status, std::string_view words) const { connection.answer(status, errorLine(words)); }

    /// Nothing after an error, which is answered.
    std::optional<ModelName> name(const std::string& text) const {
        auto parsed = ModelName::parse(text);
        if (!parsed) fail(400, "invalid model name");
        return parsed;
    }
};

void tags(const Exchange& exchange, const std::vector<Fault>&) {
    Tags list;
    for (const auto& [name, manifest, digest, modified] : exchange.host.files.list()) {
        Int size = manifest.config.size;
        for (const Descriptor& layer : manifest.layers) size += layer.size;
        list.models.push_back({name.shown(), name.shown(), iso8601(modified), size, digest});
    }
    exchange.connection.answer(200, jsonText(list));
}

void tellVersion(const Exchange& exchange, const std::vector<Fault>&) {
    exchange.connection.answer(200, fmt::format(R"({{"version":"{}"}})", version));
}

void pull(const Exchange& exchange, const std::vector<Fault>& faults) {
    if (const auto name = exchange.name(exchange.nameText()))
        Pull{exchange.host, exchange.connection, faults}.run(*name);
}

void copy(const Exchange& exchange, const std::vector<Fault>&) {
    const auto source = exchange.name(exchange.body.source.value_or(""));
    if (!source) return;
    const auto destination = exchange.name(exchange.body.destination.value_or(""));
    if (!destination) return;
    if (exchange.host.files.copy(*source, *destination)) return exchange.connection.answer(200, "");
    exchange.fail(404, fmt::format("model \"{}\" not found", *exchange.body.source));
}

void remove(const Exchange& exchange, const std::vector<Fault>&) {
    const auto name = exchange.name(exchange.nameText());
    if (!name) return;
    if (exchange.host.files.remove(*name)) return exchange.connection.answer(200, "");
    exchange.fail(404, fmt::format("model '{}' not found", exchange.nameText()));
}

void generate(const Exchange& exchange, const std::vector<Fault>&) {
    const auto name = exchange.name(exchange.nameText());
    if (!name) return;
    const auto manifest = exchange.host.files.find(*name);
    if (!manifest) return exchange.fail(404, fmt::format("model '{}' not found", exchange.nameText()));
    // A model runs if all of it is there.
    const auto isHeld = [&](const Descriptor& layer) { return exchange.host.files.holds(layer); };
    if (!isHeld(manifest->config) || !std::ranges::all_of(manifest->layers, isHeld))
        return exchange.fail(500, "unable to load model: a layer is missing");
    const Generated answer{exchange.nameText(), iso8601(std::chrono::system_clock::now()), "pong", true, "stop"};
    if (exchange.body.stream == false) return exchange.connection.answer(200, jsonText(answer));
    exchange.connection.answer(200, jsonText(answer) + "\n", Connection::streamType, Framing::chunked);
}

struct Route {
    std::string_view method, path;
    void (*run)(const Exchange&, const std::vector<Fault>&);
};

constexpr std::array routes{
    Route{"GET", "/api/tags", tags},        Route{"GET", "/api/version", tellVersion},
    Route{"POST", "/api/pull", pull},       Route{"POST", "/api/copy", copy},
    Route{"DELETE", "/api/delete", remove}, Route{"POST", "/api/generate", generate},
};

/// Whether the fault is the answer itself or prevents it; nothing of it is left to do then.
bool preempt(const Exchange& exchange, const Fault& fault) {
    Connection& connection = exchange.connection;
    switch (fault.does) {
        case Does::answer:
            connection.answer(static_cast<int>(fault.status.value_or(500)), fault.words.value_or(""),
                              Connection::jsonType, fault.framing.value_or(Framing::length));
            return true;
        case Does::flood:
            flood(connection, fault);
            return true;
        case Does::error:
            if (exchange.request.path == "/api/pull") return false;
            exchange.fail(static_cast<int>(fault.status.value_or(500)), fault.words.value_or("unexpected EOF"));
            return true;
        case Does::stop:
        case Does::halfClose:
        case Does::reset:
        case Does::hang:
        case Does::exit:
            connection.perform(fault);
            return true;
        case Does::end:
        case Does::dribble:
        case Does::text:
        case Does::longLine:
        case Does::total:
        case Does::lateLayer:
            return false;
    }
    return false;
}

/// The faults whose place is in the pull; the others are armed, or done at once. Nothing if the answer is given.
std::optional<std::vector<Fault>> prepare(const Exchange& exchange, std::vector<Fault> faults) {
    std::vector<Fault> armed;
    std::vector<Fault> placed;
    for (Fault& fault : faults) {
        const bool isOfLayers = fault.does == Does::total || fault.does == Does::lateLayer;
        if (fault.before || fault.layer || isOfLayers) {
            if (isOfLayers && !fault.layer) fault.layer = 0;
            placed.push_back(std::move(fault));
        } else if (!fault.bytes && preempt(exchange, fault)) {
            return std::nullopt;
        } else if (fault.does == Does::error && !fault.bytes) {
            placed.push_back(std::move(fault));
        } else {
            armed.push_back(std::move(fault));
        }
    }
    exchange.connection.arm(std::move(armed));
    return placed;
}

}  // namespace

Host::Host(Scenario played, std::string modelsFolder, const std::string& logPath)
    : scenario(std::move(played)),
      models(scenario.models ? *scenario.models : defaultModels()),
      faults(scenario.faults.value_or(std::vector<Fault>{})),
      layers(scenario.seed.value_or(0)),
      files(std::move(modelsFolder)),
      log(logPath) {}

std::optional<std::string> Host::install() {
    for (const ModelOffer& offer : models) {
        const auto name = ModelName::parse(offer.name);
        if (!name) return offer.name + ": no name of a model";
        if (!offer.installed.value_or(false)) continue;
        std::vector<Layer> held;
        for (const LayerOffer& layer : offer.layers) held.push_back(layers.of(layer));
        held.push_back(layers.of(configOf(offer)));
        for (const Layer& layer : held) {
            if (const auto stored = files.store(layer); !stored) return stored.error().description();
        }
        if (const auto written = files.write(*name, manifestOf(held)); !written) return written.error().description();
    }
    return std::nullopt;
}

const ModelOffer* Host::offerOf(const ModelName& name) const {
    const auto found =
        std::ranges::find_if(models, [&](const ModelOffer& offer) { return ModelName::parse(offer.name) == name; });
    return found == models.end() ? nullptr : &*found;
}

void Host::respond(const Request& request, Connection& connection) {
    Exchange exchange{*this, connection, request, {}};
    if (!request.body.empty()) {
        auto body = Decoder::decode<Body>(asBytes(request.body));
        if (!body) return exchange.fail(400, body.error().description());
        exchange.body = *std::move(body);
    }
    connection.pause(std::chrono::milliseconds{scenario.delayMilliseconds.value_or(0)});
    const auto placed = prepare(exchange, faults.hitting(request.path, exchange.nameText()));
    if (!placed) return;
    if (request.path == "/") return connection.answer(200, "Ollama is running", "text/plain; charset=utf-8");
    const auto route = std::ranges::find_if(
        routes, [&](const Route& each) { return each.path == request.path && each.method == request.method; });
    if (route == routes.end()) return connection.answer(404, "404 page not found", "text/plain");
    route->run(exchange, *placed);
}

LayerOffer configOf(const ModelOffer& offer) { return offer.config.value_or(LayerOffer{offer.name + " config", 485}); }

}  // namespace larkmoor::modelhost

// The verbs on the files of a model store.
#include "Command.h"

#include <fmt/format.h>

#include "LarkmoorLocalModels/Store/ByteCount.h"
#include "LarkmoorLocalModels/Store/ModelStore.h"

namespace larkmoor::models {

namespace {

Outcome failure(ModelStoreError error) { return {.status = Outcome::failed, .errors = std::move(error.message)}; }

}  // namespace

Outcome digest(const Arguments& arguments) {
    auto digest = ModelStore::digest(arguments.words[0]);
    if (!digest) return failure(std::move(digest.error()));
    return {.output = arguments.json ? fmt::format("{{\"sha256\":\"{}\"}}\n", *digest) : *digest + "\n"};
}

Outcome move(const Arguments& arguments) {
    auto moved = ModelStore::moveModel(arguments.words[0], arguments.words[1], arguments.words[2]);
    return moved ? Outcome{} : failure(std::move(moved.error()));
}

Outcome deleteModel(const Arguments& arguments) {
    auto freed = ModelStore::deleteModel(arguments.words[0], arguments.words[1]);
    if (!freed) return failure(std::move(freed.error()));
    return {.output = arguments.json ? fmt::format("{{\"freed\":{}}}\n", *freed) : ByteCount::label(*freed) + "\n"};
}

}  // namespace larkmoor::models

// Any bytes name only blobs that are files in their folder, and that the manifest is known to mention: nothing that a
// move takes along would be taken from a model that stays.
#include "LarkmoorLocalModels/Store/ModelManifest.h"
#include "Require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace larkmoor;
    using fuzz::require;
    const BytesView manifest = std::as_bytes(std::span{data, size});
    for (const std::string& blob : ModelManifest::blobNames(manifest)) {
        require(!blob.empty() && blob.front() != '.', "a blob has a name, and is not hidden");
        require(blob.find_first_of(std::string_view{"/\0:", 3}) == blob.npos, "the name is of one component");
        std::set<std::string> blobs{blob};
        ModelManifest::eraseMentioned(manifest, blobs);
        require(blobs.empty(), "what it names it mentions");
    }
    return 0;
}

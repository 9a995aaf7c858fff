#include "LarkmoorConnectors/Framework/HarnessFile.h"

#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor {

HarnessFile HarnessFile::read(const std::string& label) {
    HarnessFile file{.label = label, .path = ConfigPath::canonical(label)};
    if (auto bytes = Files::read(file.path)) {
        file.bytes = std::move(*bytes);
    } else if (Files::exists(file.path)) {
        file.fault = std::move(bytes.error());
    }
    return file;
}

}  // namespace larkmoor

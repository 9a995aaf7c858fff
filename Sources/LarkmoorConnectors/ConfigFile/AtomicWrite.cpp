#include "LarkmoorConnectors/ConfigFile/AtomicWrite.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/UUID.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"

namespace larkmoor::AtomicWrite {

std::expected<void, ConfigFileError> write(BytesView bytes, const std::string& path,
                                           const std::function<void()>& beforeRename, std::optional<mode_t> modeIfNew) {
    const std::string temporary =
        ConfigPath::sibling(path, fmt::format(".{}.larkmoor-{}.tmp", ConfigPath::lastComponent(path), newUUID()));
    // What takes the place of a private file is private from its first byte.
    const mode_t firstMode = Files::exists(path) || modeIfNew ? 0600 : 0666;
    if (auto written = Files::create(temporary, bytes, firstMode); !written) {
        return std::unexpected{ConfigFileError::writeFailed(path, written.error().code)};
    }
    const auto mode = Files::permissions(path);
    if (mode || modeIfNew) static_cast<void>(::chmod(temporary.c_str(), mode.value_or(modeIfNew.value_or(0))));
    if (beforeRename) beforeRename();
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        const int code = errno;
        ::unlink(temporary.c_str());
        return std::unexpected{ConfigFileError::writeFailed(path, code)};
    }
    return {};
}

}  // namespace larkmoor::AtomicWrite

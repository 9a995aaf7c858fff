#include "LarkmoorPlatform/Linux/Services/AgentUnitFiles.h"

#include <unistd.h>

#include <cerrno>

namespace larkmoor {

namespace {

using Done = std::expected<void, FileError>;

Done removed(const std::string& path) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) return {};
    return std::unexpected(FileError{path, errno});
}

Done madeFolderOf(const std::string& path) { return Files::makeFolders(path.substr(0, path.rfind('/')), 0755); }

Done linked(const std::string& target, const std::string& link) {
    if (auto made = madeFolderOf(link); !made) return made;
    if (::symlink(target.c_str(), link.c_str()) == 0 || errno == EEXIST) return {};
    return std::unexpected(FileError{link, errno});
}

}  // namespace

Done AgentUnitFiles::write(const AgentUnit& agent) const {
    const std::string file = unit(agent.name), wish = link(agent.name);
    if (agent.startsAtLoad) {
        if (auto done = linked(file, wish); !done) return done;
    }
    if (auto made = madeFolderOf(file); !made) return made;
    if (auto written = Files::replace(file, asBytes(agent.text), 0644); !written) return written;
    return agent.startsAtLoad ? Done{} : removed(wish);
}

Done AgentUnitFiles::remove(const std::string& name) const {
    if (auto gone = removed(unit(name)); !gone) return gone;
    return removed(link(name));
}

}  // namespace larkmoor

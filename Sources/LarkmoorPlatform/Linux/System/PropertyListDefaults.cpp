#include "LarkmoorPlatform/Linux/System/PropertyListDefaults.h"

#include <cerrno>

#include "LarkmoorPlatform/PropertyList.h"

namespace larkmoor {

PropertyListDefaults::PropertyListDefaults(const std::string& home, const std::string& suite)
    : folder_(home + "/Library/Preferences"), path_(folder_ + "/" + suite + ".plist") {}

std::optional<std::string> PropertyListDefaults::string(const std::string& key) const {
    const auto document = Files::read(path_);
    return document ? PropertyList::textUnder(*document, key) : std::nullopt;
}

std::optional<bool> PropertyListDefaults::flag(const std::string& key) const {
    const auto document = Files::read(path_);
    return document ? PropertyList::flagUnder(*document, key) : std::nullopt;
}

std::expected<void, FileError> PropertyListDefaults::set(const std::string& key, const std::string& value) {
    return store(key, value);
}

std::expected<void, FileError> PropertyListDefaults::set(const std::string& key, bool value) {
    return store(key, value);
}

std::expected<void, FileError> PropertyListDefaults::store(const std::string& key,
                                                           const std::variant<std::string, bool>& value) {
    const std::lock_guard lock{writing_};
    auto document = Files::read(path_);
    if (!document && document.error().code != ENOENT) return std::unexpected(document.error());
    // An empty file is damaged, while a missing one counts as an empty list.
    const bool isDamaged = document && !PropertyList::isReadable(*document);
    if (isDamaged) return std::unexpected(FileError{path_, EBADMSG});
    const auto changed = PropertyList::setting(document ? *document : Bytes{}, key, value);
    if (!changed) return std::unexpected(FileError{path_, EILSEQ});
    if (auto made = Files::makeFolders(folder_, 0700); !made) return made;
    return Files::replace(path_, *changed, 0600);
}

}  // namespace larkmoor

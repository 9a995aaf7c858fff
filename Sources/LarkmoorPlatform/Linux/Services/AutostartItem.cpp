#include "LarkmoorPlatform/Linux/Services/AutostartItem.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Text.h"

namespace larkmoor {

namespace {

constexpr std::string_view group = "[Desktop Entry]";

/// The value of a key in the group [Desktop Entry].
std::optional<std::string_view> valueOf(std::string_view entry, std::string_view key) {
    bool isInGroup = false;
    while (!entry.empty()) {
        const std::string_view line = entry.substr(0, entry.find('\n'));
        entry.remove_prefix(std::min(entry.size(), line.size() + 1));
        const std::string_view words = trimmed(line);
        if (words.starts_with('[')) isInGroup = words == group;
        const auto sign = words.find('=');
        if (isInGroup && sign != std::string_view::npos && trimmed(words.substr(0, sign)) == key)
            return trimmed(words.substr(sign + 1));
    }
    return std::nullopt;
}

/// Exec with one quoted argument: escaped once for the command line and once more for the file.
std::string command(std::string_view executable) {
    std::string words = "\"";
    for (const char letter : executable) {
        if (letter == '\\')
            words += "\\\\\\\\";
        else if (letter == '"' || letter == '`' || letter == '$')
            words.append("\\\\") += letter;
        else
            words.append(letter == '%' ? 2 : 1, letter);
    }
    return words += '"';
}

/// TryExec: a path, which is not quoted.
std::string program(std::string_view executable) {
    std::string path;
    for (const char letter : executable) path.append(letter == '\\' ? 2 : 1, letter);
    return path;
}

/// The keys by which desktops disable an entry.
struct DisablingKey {
    std::string_view key, value;
};
constexpr std::array disablingKeys{DisablingKey{"Hidden", "true"}, DisablingKey{"X-GNOME-Autostart-enabled", "false"},
                                   DisablingKey{"X-MATE-Autostart-enabled", "false"}};

}  // namespace

std::string AutostartEntry::path(const UserFolders& folders, std::string_view identifier) {
    return fmt::format("{}/autostart/{}.desktop", folders.config, identifier);
}

std::string AutostartEntry::text(std::string_view name, std::string_view icon, std::string_view executable) {
    // A desktop leaves an entry out whose program is gone.
    return fmt::format(
        "{}\nType=Application\nName={}\nIcon={}\nTryExec={}\nExec={}\nTerminal=false\nStartupNotify=false\n", group,
        name, icon, program(executable), command(executable));
}

bool AutostartEntry::starts(std::string_view entry, std::string_view executable) {
    return valueOf(entry, "Exec") == command(executable);
}

LoginItemStatus AutostartEntry::status(const std::optional<std::string>& entry, std::string_view executable) {
    if (!entry) return LoginItemStatus::notRegistered;
    const bool isDisabled = std::ranges::any_of(
        disablingKeys, [&](const DisablingKey& each) { return valueOf(*entry, each.key) == each.value; });
    if (isDisabled) return LoginItemStatus::requiresApproval;
    return starts(*entry, executable) ? LoginItemStatus::enabled : LoginItemStatus::notRegistered;
}

AutostartItem::AutostartItem(const UserFolders& folders, Application application)
    : application_(std::move(application)),
      folder_(folders.config + "/autostart"),
      path_(AutostartEntry::path(folders, application_.identifier)) {}

Task<LoginItemStatus> AutostartItem::status() {
    const auto bytes = Files::read(path_);
    // A file that cannot be read must not be replaced.
    if (!bytes && bytes.error().code != ENOENT) co_return LoginItemStatus::requiresApproval;
    const auto entry = bytes ? std::optional{std::string{asText(*bytes)}} : std::nullopt;
    co_return AutostartEntry::status(entry, application_.executable);
}

Task<std::expected<void, std::string>> AutostartItem::registerItem() {
    const bool isOneLine = std::ranges::none_of(application_.executable,
                                                [](char letter) { return static_cast<unsigned char>(letter) < 0x20; });
    if (!isOneLine) co_return std::unexpected(application_.executable + ": no entry can name it");
    if (co_await status() == LoginItemStatus::requiresApproval)
        co_return std::unexpected(path_ + " was switched off by the person");
    const std::string entry = AutostartEntry::text(application_.name, application_.icon, application_.executable);
    const auto written = co_await BlockingWork::run([folder = folder_, path = path_, entry] {
        if (auto made = Files::makeFolders(folder, 0755); !made) return made;
        return Files::replace(path, asBytes(entry), 0644);
    });
    if (!written) co_return std::unexpected(written.error().description());
    co_return std::expected<void, std::string>{};
}

Task<std::expected<void, std::string>> AutostartItem::unregisterItem() {
    if (::unlink(path_.c_str()) != 0 && errno != ENOENT)
        co_return std::unexpected(FileError{path_, errno}.description());
    co_return std::expected<void, std::string>{};
}

}  // namespace larkmoor

// A folder of configuration files on a real disk, seen as names, texts and permission bits.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ostream>
#include <stdexcept>

#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ConfigFile/Transaction.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor::testing {

/// The moment of every commit here, and how it stands in the names of copies.
inline constexpr std::chrono::system_clock::time_point moment{std::chrono::sys_days{std::chrono::year{2024} / 1 / 31} +
                                                              std::chrono::hours{23} + std::chrono::minutes{59} +
                                                              std::chrono::seconds{59}};
#define MOMENT "20240131-235959"

/// Gone at the end. The time zone is UTC from its making on.
class ConfigFolder {
  public:
    ConfigFolder() : ConfigFolder(std::filesystem::temp_directory_path()) {}
    explicit ConfigFolder(const std::filesystem::path& in) : folder_(in) { ::setenv("TZ", "UTC", 1); }

    std::string path(std::string_view name) const { return folder_ / name; }
    std::string path() const { return folder_.path().string(); }

    void write(std::string_view name, std::string_view text, mode_t mode = 0644) const {
        if (!Files::create(path(name), asBytes(text), 0600)) throw std::runtime_error("cannot make " + path(name));
        setMode(name, mode);
    }
    void makeFolder(std::string_view name) const { std::filesystem::create_directory(path(name)); }
    void link(std::string_view name, std::string_view to) const { std::filesystem::create_symlink(to, path(name)); }
    void setMode(std::string_view name, mode_t mode) const {
        if (::chmod(path(name).c_str(), mode) != 0) throw std::runtime_error("cannot set the mode of " + path(name));
    }

    std::optional<std::string> read(std::string_view name) const {
        const auto bytes = Files::read(path(name));
        return bytes ? std::optional{text(*bytes)} : std::nullopt;
    }
    mode_t mode(std::string_view name) const { return Files::permissions(path(name)).value_or(0); }
    bool isLink(std::string_view name) const { return std::filesystem::is_symlink(path(name)); }

    /// The text of every file in the folder and below it, by its name there; of a link what it points to.
    std::map<std::string, std::string> files() const {
        namespace fs = std::filesystem;
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator{path()}) {
            const std::string name = entry.path().lexically_relative(path()).string();
            if (entry.is_symlink())
                files[name] = "-> " + fs::read_symlink(entry.path()).string();
            else if (entry.is_regular_file())
                files[name] = read(name).value_or("(unreadable)");
        }
        return files;
    }

    /// A change of the file of that name from what it holds now; its label is "~/" and the name.
    FileChange change(std::string_view name, std::optional<std::string_view> after) const {
        auto before = Files::read(path(name));
        return {path(name), "~/" + std::string{name}, before ? std::optional{std::move(*before)} : std::nullopt,
                after ? std::optional{copyBytes(*after)} : std::nullopt};
    }

    /// Takes away the temporary file that is to become `name`, so that its rename fails.
    void spoilRename(const std::filesystem::path& name) const {
        const std::string start = name.parent_path() / ("." + name.filename().string() + ".larkmoor-");
        for (const auto& [file, text] : files()) {
            if (file.starts_with(start)) std::filesystem::remove(path(file));
        }
    }

  private:
    TemporaryFolder folder_;
};

}  // namespace larkmoor::testing

namespace larkmoor {

inline void PrintTo(const Observation& observation, std::ostream* out) {
    *out << "\n    " << observation.subject << " | " << observation.text;
}

inline void PrintTo(const TransactionResult& result, std::ostream* out) {
    result.visit(
        [&](const TransactionResult::Committed& committed) {
            *out << "committed " << ::testing::PrintToString(committed.backups)
                 << ::testing::PrintToString(committed.observations);
        },
        [&](const TransactionResult::Refused& refused) {
            *out << "refused" << ::testing::PrintToString(refused.observations);
        },
        [&](const TransactionResult::Unchanged&) { *out << "unchanged"; });
}

}  // namespace larkmoor

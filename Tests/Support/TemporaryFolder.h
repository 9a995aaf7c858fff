// A folder of a test's own, gone with everything in it at the end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace larkmoor::testing {

class TemporaryFolder {
  public:
    explicit TemporaryFolder(const std::filesystem::path& in = std::filesystem::temp_directory_path()) {
        std::string name = (in / "larkmoor.XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder in " + in.string());
        path_ = std::filesystem::canonical(name);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        namespace fs = std::filesystem;
        std::error_code ignored;
        // A test may have taken the right to remove what lies in a folder.
        for (auto entry = fs::recursive_directory_iterator(path_, ignored); entry != fs::end(entry);
             entry.increment(ignored)) {
            if (!entry->is_symlink() && entry->is_directory()) {
                fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
            }
        }
        fs::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }
    std::string operator/(std::string_view name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

}  // namespace larkmoor::testing

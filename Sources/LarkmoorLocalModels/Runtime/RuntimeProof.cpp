#include "LarkmoorLocalModels/Runtime/RuntimeProof.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/SHA256.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor {

std::string RuntimeProof::path(const std::string& binary) { return binary + ".sha256"; }

std::expected<void, FileError> RuntimeProof::write(const std::string& binary, const std::string& digest) {
    return Files::replace(path(binary), asBytes(digest + "\n"), ClientStoreMode::file);
}

std::expected<void, std::string> RuntimeProof::check(const std::string& binary) {
    const std::string proof = path(binary);
    const FileDescriptor file{::open(proof.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)};
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0) return std::unexpected(FileError{proof, errno}.description());
    if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid() || (status.st_mode & 0077U) != 0) {
        return std::unexpected(proof + ": it is not ours alone");
    }
    const auto recorded = Files::readAll(file.get(), proof);
    if (!recorded) return std::unexpected(recorded.error().description());
    const auto digest = SHA256::ofFile(binary);
    if (!digest) return std::unexpected(digest.error().description());
    const std::string_view expected = trimmed(asText(*recorded));
    if (*digest == expected) return {};
    return std::unexpected(fmt::format("{}: expected {}, got {}", binary, expected.substr(0, digest->size()), *digest));
}

bool binaryVerifies(const std::string& path) { return RuntimeProof::check(path).has_value(); }

bool isExecutableFile(const std::string& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

}  // namespace larkmoor

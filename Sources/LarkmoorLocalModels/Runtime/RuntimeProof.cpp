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

namespace {

bool isDigest(std::string_view text) {
    constexpr std::size_t digits = 64;
    return text.size() == digits && text.find_first_not_of("0123456789abcdef") == text.npos;
}

}  // namespace

std::string RuntimeProof::path(const std::string& binary) { return binary + ".sha256"; }

std::expected<void, FileError> RuntimeProof::write(const std::string& binary, std::string_view digest,
                                                   const std::vector<std::string>& entries) {
    std::string text{digest};
    text += "\n";
    for (const std::string& entry : entries) text += entry + "\n";
    return Files::replace(path(binary), asBytes(text), ClientStoreMode::file);
}

std::optional<std::vector<std::string>> RuntimeProof::entries(const std::string& binary) {
    const auto recorded = Files::read(path(binary));
    if (!recorded) return std::nullopt;
    std::vector<std::string> names;
    std::string_view lines = asText(*recorded);
    const std::string_view digest = lines.substr(0, lines.find('\n'));
    if (digest != unproven && !isDigest(digest)) return std::nullopt;
    for (std::size_t end = lines.find('\n'); end != lines.npos; end = lines.find('\n')) {
        lines.remove_prefix(end + 1);  // the first line is the digest
        const std::string_view line = lines.substr(0, lines.find('\n'));
        const bool isName = !line.empty() && line != "." && line != ".." && !line.contains('/');
        if (isName) names.emplace_back(line);
    }
    return names;
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
    const std::string_view text = asText(*recorded), expected = trimmed(text.substr(0, text.find('\n')));
    if (*digest == expected) return {};
    return std::unexpected(fmt::format("{}: expected {}, got {}", binary, expected.substr(0, digest->size()), *digest));
}

bool binaryVerifies(const std::string& path) { return RuntimeProof::check(path).has_value(); }

}  // namespace larkmoor

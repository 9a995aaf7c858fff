#include "LarkmoorBase/SHA256.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nettle/sha2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <vector>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor::SHA256 {

namespace {

/// One digest in the making.
class Digest {
  public:
    Digest() { sha256_init(&state_); }

    void add(BytesView bytes) {
        sha256_update(&state_, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
    }

    std::string hexadecimal() {
        std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
        sha256_digest(&state_, digest.size(), digest.data());
        return fmt::format("{:02x}", fmt::join(digest, ""));
    }

  private:
    sha256_ctx state_{};
};

}  // namespace

std::string ofBytes(BytesView bytes) {
    Digest digest;
    digest.add(bytes);
    return digest.hexadecimal();
}

std::expected<std::string, FileError> ofFile(const std::string& path) {
    constexpr std::size_t pieceSize = 128 * 1024;
    // Without O_NONBLOCK, opening a pipe would wait for its writer.
    const FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)};
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0) return std::unexpected{FileError{path, errno}};
    if (!S_ISREG(status.st_mode)) return std::unexpected{FileError{path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL}};
    Digest digest;
    Bytes piece(pieceSize);
    for (;;) {
        const ssize_t count = ::read(file.get(), piece.data(), piece.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::unexpected{FileError{path, errno}};
        if (count == 0) return digest.hexadecimal();
        digest.add(BytesView{piece}.first(static_cast<std::size_t>(count)));
    }
}

}  // namespace larkmoor::SHA256

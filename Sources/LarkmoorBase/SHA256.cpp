#include "LarkmoorBase/SHA256.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nettle/sha2.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <vector>

#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor::SHA256 {

namespace {

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
    const FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)};
    if (!file) return std::unexpected{FileError{path, errno}};
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

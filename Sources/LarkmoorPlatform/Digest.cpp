#include "LarkmoorPlatform/Digest.h"

#include <fmt/format.h>
#include <gcrypt.h>

#include <array>

namespace larkmoor::Digest {

std::string sha256(BytesView bytes) {
    // The library asks for one look at its version before its first use. Nothing of ours needs its secure memory.
    static const bool isReady = gcry_check_version(nullptr) != nullptr &&
                                gcry_control(GCRYCTL_DISABLE_SECMEM, 0) == 0 &&
                                gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0) == 0;
    static_cast<void>(isReady);
    std::array<unsigned char, 32> digest{};
    gcry_md_hash_buffer(GCRY_MD_SHA256, digest.data(), bytes.data(), bytes.size());
    return fmt::format("{:02x}", fmt::join(digest, ""));
}

}  // namespace larkmoor::Digest

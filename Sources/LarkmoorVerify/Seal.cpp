#include "LarkmoorVerify/Seal.h"

#include <fcntl.h>
#include <nettle/eddsa.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/SHA256.h"

namespace larkmoor {

namespace {

static_assert(ED25519_KEY_SIZE == sizeof(PublicKey) && ED25519_SIGNATURE_SIZE == sizeof(Signature));

template <class Fixed>
std::expected<Fixed, Words> decode(std::string_view base64, std::string_view what) {
    const auto bytes = Base64::decode(base64);
    Fixed fixed;
    if (!bytes || bytes->size() != fixed.bytes.size()) return std::unexpected{std::string{what}};
    std::memcpy(fixed.bytes.data(), bytes->data(), fixed.bytes.size());
    return fixed;
}

bool isSigned(BytesView message, const PublicKey& key, const Signature& signature) {
    return ed25519_sha512_verify(key.bytes.data(), message.size(),
                                 reinterpret_cast<const std::uint8_t*>(message.data()), signature.bytes.data()) != 0;
}

/// Whether the key is one of the points whose order divides eight, by which signatures hold that nobody has made. They
/// are told by y, in each of its encodings; the sign of x is the last bit.
bool isOfLowOrder(PublicKey key) {
    using Bytes32 = std::array<std::uint8_t, 32>;
    static constexpr auto almostP = [](std::uint8_t first) {
        Bytes32 y;
        y.fill(0xFF);
        y.front() = first;
        y.back() = 0x7F;
        return y;
    };
    static constexpr std::array<Bytes32, 7> ys{
        {{0},
         {1},
         {0x26, 0xE8, 0x95, 0x8F, 0xC2, 0xB2, 0x27, 0xB0, 0x45, 0xC3, 0xF4, 0x89, 0xF2, 0xEF, 0x98, 0xF0,
          0xD5, 0xDF, 0xAC, 0x05, 0xD3, 0xC6, 0x33, 0x39, 0xB1, 0x38, 0x02, 0x88, 0x6D, 0x53, 0xFC, 0x05},
         {0xC7, 0x17, 0x6A, 0x70, 0x3D, 0x4D, 0xD8, 0x4F, 0xBA, 0x3C, 0x0B, 0x76, 0x0D, 0x10, 0x67, 0x0F,
          0x2A, 0x20, 0x53, 0xFA, 0x2C, 0x39, 0xCC, 0xC6, 0x4E, 0xC7, 0xFD, 0x77, 0x92, 0xAC, 0x03, 0x7A},
         almostP(0xEC),
         almostP(0xED),
         almostP(0xEE)}};
    key.bytes.back() &= 0x7F;
    return std::ranges::find(ys, key.bytes) != ys.end();
}

/// A whole file, mapped for reading.
class MappedFile {
  public:
    static std::expected<MappedFile, Words> open(const std::string& path) {
        const FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
        struct stat status{};
        if (!file || ::fstat(file.get(), &status) != 0) return std::unexpected{FileError{path, errno}.description()};
        if (!S_ISREG(status.st_mode)) return std::unexpected{path + ": not a regular file"};
        MappedFile mapped;
        mapped.size_ = static_cast<std::size_t>(status.st_size);
        if (mapped.size_ == 0) return mapped;
        mapped.data_ = ::mmap(nullptr, mapped.size_, PROT_READ, MAP_PRIVATE, file.get(), 0);
        if (mapped.data_ == MAP_FAILED) return std::unexpected{FileError{path, errno}.description()};
        ::madvise(mapped.data_, mapped.size_, MADV_SEQUENTIAL);
        return mapped;
    }

    BytesView bytes() const { return {static_cast<const std::byte*>(data_), size_}; }

  private:
    void* data_ = nullptr;  // for the life of this process
    std::size_t size_ = 0;
};

/// Removes "NAME VALUE\n" and returns the value.
std::optional<std::string_view> takeLine(std::string_view& text, std::string_view name) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos || !text.starts_with(name)) return std::nullopt;
    const std::string_view value = text.substr(name.size(), end - name.size());
    text.remove_prefix(end + 1);
    return value;
}

Bytes fromHexadecimal(std::string_view digits) {
    Bytes bytes(digits.size() / 2);
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        std::uint8_t value = 0;
        std::from_chars(digits.data() + 2 * index, digits.data() + 2 * index + 2, value, 16);
        bytes[index] = static_cast<std::byte>(value);
    }
    return bytes;
}

}  // namespace

std::expected<PublicKey, Words> PublicKey::of(std::string_view base64) {
    auto key = decode<PublicKey>(base64, "the public key is not 32 bytes in base64");
    if (key && isOfLowOrder(*key)) return std::unexpected{Words{"the public key is nobody's: anything verifies by it"}};
    return key;
}

std::expected<Signature, Words> Signature::of(std::string_view base64) {
    return decode<Signature>(base64, "the signature is not 64 bytes in base64");
}

std::string PublicKey::hash() const { return SHA256::ofBytes(std::as_bytes(std::span{bytes})); }

Verdict checkArchive(const std::string& file, const PublicKey& key, const Signature& signature) {
    const auto mapped = MappedFile::open(file);
    if (!mapped) return std::unexpected{mapped.error()};
    if (!isSigned(mapped->bytes(), key, signature)) return std::unexpected{std::string{"the signature does not hold"}};
    return {};
}

Objection::Objection(const FileError& error) : words(error.description()) {
    static constexpr std::array judged{ENOENT, ENOTDIR, ELOOP, EISDIR, EINVAL, EFBIG};
    isVerdict = std::ranges::find(judged, error.code) != judged.end();
}

namespace Seal {

std::expected<PublicKey, Objection> check(const std::string& file) {
    const std::string place = file + std::string{suffix};
    const auto bytes = Files::read(place);
    if (!bytes) {
        const bool isNone = bytes.error().code == ENOENT;
        return std::unexpected{isNone ? Objection{file + ": not sealed at all"} : Objection{bytes.error()}};
    }
    std::string_view text = asText(*bytes);
    const auto version = takeLine(text, "larkmoor-seal "), key = takeLine(text, "key "),
               signature = takeLine(text, "signature ");
    if (version != "1" || !key || !signature || !text.empty()) return std::unexpected{place + ": not a seal"};
    const auto readKey = PublicKey::of(*key);
    const auto readSignature = Signature::of(*signature);
    if (!readKey || !readSignature) return std::unexpected{place + ": not a seal"};
    const auto digest = SHA256::ofFile(file);
    if (!digest) return std::unexpected{digest.error()};
    if (!isSigned(fromHexadecimal(*digest), *readKey, *readSignature)) {
        return std::unexpected{file + ": not as it was sealed"};
    }
    return *readKey;
}

}  // namespace Seal

}  // namespace larkmoor

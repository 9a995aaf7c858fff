#include "LarkmoorPlatform/Linux/Messaging/MessageServiceCoding.h"

#include <fcntl.h>

#include <optional>

#include "LarkmoorPlatform/Linux/Bus/BusValues.h"

namespace larkmoor::MessageServiceCoding {

namespace {

// The bus disconnects a sender of an array of more than 64 MiB; the margin is for the dictionary itself.
constexpr std::size_t maxBytes = (64U << 20U) - (64U << 10U);
// Far more than our messages have, and few enough that a malicious message costs nothing.
constexpr std::size_t maxKeys = 32;
// The limit of the bus.
constexpr std::size_t maxDescriptors = 16;

bool canCarry(const MessageDictionary& dictionary) {
    std::size_t bytes = 0;
    std::size_t descriptors = 0;
    for (const auto& [key, value] : dictionary.values) {
        bytes += key.size();
        if (const auto* data = std::get_if<Bytes>(&value)) bytes += data->size();
        if (const auto* list = std::get_if<MessageDescriptors>(&value)) descriptors += list->size();
    }
    return bytes <= maxBytes && descriptors <= maxDescriptors && dictionary.values.size() <= maxKeys;
}

void writeValue(BusWriter& writer, const std::string& key, const Bytes& value) {
    writer.property(key, "ay", [&] { writer.bytes(value); });
}
void writeValue(BusWriter& writer, const std::string& key, std::uint64_t value) {
    writer.property(key, "t", [&] { writer.uint64(value); });
}
void writeValue(BusWriter& writer, const std::string& key, bool value) {
    writer.property(key, "b", [&] { writer.boolean(value); });
}
void writeValue(BusWriter& writer, const std::string& key, const MessageDescriptors& value) {
    writer.property(key, "ah", [&] {
        writer.array("h", [&] {
            for (const auto& descriptor : value) writer.descriptor(descriptor ? descriptor->get() : -1);
        });
    });
}

std::optional<MessageDescriptors> readDescriptors(BusReader& reader) {
    MessageDescriptors descriptors;
    bool isUsable = true;
    reader.array("h", [&] {
        const int lent = reader.descriptor();
        if (!isUsable || lent < 0) return;
        auto own = std::make_shared<FileDescriptor>(::fcntl(lent, F_DUPFD_CLOEXEC, 3));
        isUsable = *own && descriptors.size() < maxDescriptors;
        descriptors.push_back(std::move(own));
    });
    return isUsable && reader.fits() ? std::optional{std::move(descriptors)} : std::nullopt;
}

std::optional<MessageValue> readValue(BusReader& reader, std::string_view contents) {
    if (contents == "ay") return copyBytes(reader.bytes());
    if (contents == "t") return reader.uint64();
    if (contents == "b") return reader.boolean();
    if (contents == "ah") return readDescriptors(reader);
    reader.skip();
    return std::nullopt;
}

}  // namespace

bool write(const MessageDictionary& dictionary, const BusMessage& message) {
    if (!canCarry(dictionary)) return false;
    BusWriter writer{message};
    writer.array("{sv}", [&] {
        for (const auto& [key, value] : dictionary.values) {
            std::visit([&](const auto& held) { writeValue(writer, key, held); }, value);
        }
    });
    return writer.fits();
}

MessageDictionary read(const BusMessage& message) {
    MessageDictionary dictionary;
    if (!message.hasSignature(signature)) return dictionary;
    BusReader reader{message};
    std::size_t keys = 0;
    reader.properties([&](std::string_view key, std::string_view contents) {
        if (++keys > maxKeys) return reader.fail();
        if (auto value = readValue(reader, contents); value && reader.fits())
            dictionary.values.emplace(key, std::move(*value));
    });
    return keys > maxKeys ? MessageDictionary{} : dictionary;
}

}  // namespace larkmoor::MessageServiceCoding

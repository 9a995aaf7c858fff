#include "LarkmoorUpdate/Ledger/PostponedUpdate.h"

#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/UTF8.h"

namespace larkmoor {

std::vector<PostponedUpdate::Record> PostponedUpdate::records(BytesView content) {
    if (!UTF8::isValid(asText(content))) {
        const std::string repaired = printable(asText(content), " ");
        return records(asBytes(repaired));
    }
    if (auto ledger = Decoder::decode<Ledger>(content)) return std::move(ledger->postponed);
    if (auto record = Decoder::decode<Record>(content)) return {*std::move(record)};
    return {};
}

std::expected<Bytes, CodingFailure> PostponedUpdate::encoded(std::vector<Record> records) {
    // A Migrator's log may name its backup in bytes that are no text.
    const auto repair = [](std::string& text) {
        if (!UTF8::isValid(text)) text = printable(text);
    };
    for (Record& record : records) {
        repair(record.because);
        if (record.backup) repair(*record.backup);
        if (record.log) repair(*record.log);
    }
    return Encoder::encode(Ledger{std::move(records)});
}

}  // namespace larkmoor

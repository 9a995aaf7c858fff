#include "LarkmoorUpdate/Ledger/PostponedUpdate.h"

#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"

namespace larkmoor {

std::vector<PostponedUpdate::Record> PostponedUpdate::records(BytesView content) {
    if (auto ledger = Decoder::decode<Ledger>(content)) return std::move(ledger->postponed);
    if (auto record = Decoder::decode<Record>(content)) return {*std::move(record)};
    return {};
}

std::expected<Bytes, CodingFailure> PostponedUpdate::encoded(std::vector<Record> records) {
    return Encoder::encode(Ledger{std::move(records)});
}

}  // namespace larkmoor

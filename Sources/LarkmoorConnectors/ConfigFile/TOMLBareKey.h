// Which bytes a key may be made of without quotes.
#pragma once

namespace larkmoor {

constexpr bool isTOMLBareKey(char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '_';
}

}  // namespace larkmoor

// How names and texts of ours are written into a TOML file and into a sentence.
#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorConnectors/ConfigFile/TOMLEdit.h"
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

namespace larkmoor {

namespace TOMLText {

std::string quote(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        switch (character) {
            case '"':
                quoted += R"(\")";
                break;
            case '\\':
                quoted += R"(\\)";
                break;
            case '\t':
                quoted += R"(\t)";
                break;
            case '\n':
                quoted += R"(\n)";
                break;
            case '\r':
                quoted += R"(\r)";
                break;
            default:
                if (byte < 32 || byte == 127) {
                    quoted += fmt::format("\\u{:04X}", byte);
                } else {
                    quoted += character;
                }
        }
    }
    return quoted += '"';
}

std::string joined(std::span<const std::string> parts) {
    std::string name;
    for (const std::string& part : parts) {
        if (&part != parts.data()) name += '.';
        name += !part.empty() && std::ranges::all_of(part, isTOMLBareKey) ? part : quote(part);
    }
    return name;
}

}  // namespace TOMLText

std::string TOMLEditError::description() const {
    return fmt::format("[{}] is not in this file", TOMLText::joined(name));
}

}  // namespace larkmoor

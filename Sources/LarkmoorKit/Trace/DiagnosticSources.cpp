#include "LarkmoorKit/Trace/DiagnosticSources.h"

#include <string>

#include "LarkmoorBase/Text.h"

namespace larkmoor::DiagnosticSources {

std::optional<DiagnosticSource> read(std::string_view text) {
    std::string word{trimmed(text)};
    for (char& letter : word) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    }
    return fromRawText<DiagnosticSource>(word);
}

std::string_view category(std::string_view text) {
    const auto source = read(text);
    return source ? rawText(*source) : "client";
}

}  // namespace larkmoor::DiagnosticSources

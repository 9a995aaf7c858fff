#include "LarkmoorKit/Trace/DiagnosticRelay.h"

#include "LarkmoorBase/Text.h"

namespace larkmoor {

std::optional<DiagnosticSource> DiagnosticSources::read(std::string_view text) {
    return fromRawText<DiagnosticSource>(lowercased(std::string{trimmed(text)}));
}

std::string_view DiagnosticSources::category(std::string_view text) {
    const auto source = read(text);
    return source ? rawText(*source) : "client";
}

DiagnosticRelay::DiagnosticRelay(MainLoop& loop, DiagnosticSource source, std::shared_ptr<LarkmoorClient> client)
    : DiagnosticRelay(loop, source,
                      RequestRelay<DiagnosticRequest>::through<GatewayRequest::Diagnostic>(std::move(client))) {}

DiagnosticRelay::DiagnosticRelay(MainLoop& loop, DiagnosticSource source, Ask ask)
    : source_(source), relay_(loop, std::move(ask)) {}

void DiagnosticRelay::note(std::string line) const {
    relay_.send(DiagnosticRequest::Log{std::string{rawText(source_)}, std::move(line)});
}

}  // namespace larkmoor

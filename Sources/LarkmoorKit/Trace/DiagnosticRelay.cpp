#include "LarkmoorKit/Trace/DiagnosticRelay.h"

#include "LarkmoorBase/Text.h"
#include "LarkmoorPlatform/Spawn.h"

namespace larkmoor {

namespace {

Task<GatewayResponse> askClient(std::shared_ptr<LarkmoorClient> client, DiagnosticRequest request) {
    co_return co_await client->send(GatewayRequest::Diagnostic{std::move(request)});
}

}  // namespace

std::optional<DiagnosticSource> DiagnosticSources::read(std::string_view text) {
    return fromRawText<DiagnosticSource>(lowercased(std::string{trimmed(text)}));
}

std::string_view DiagnosticSources::category(std::string_view text) {
    const auto source = read(text);
    return source ? rawText(*source) : "client";
}

DiagnosticRelay::DiagnosticRelay(MainLoop& loop, DiagnosticSource source, std::shared_ptr<LarkmoorClient> client)
    : DiagnosticRelay(loop, source, [client = std::move(client)](DiagnosticRequest request) {
          return askClient(client, std::move(request));
      }) {}

DiagnosticRelay::DiagnosticRelay(MainLoop& loop, DiagnosticSource source, Ask ask)
    : loop_(loop), source_(source), ask_(std::make_shared<const Ask>(std::move(ask))) {}

void DiagnosticRelay::note(std::string line) const {
    spawn(loop_, std::weak_ptr{ask_},
          [request = DiagnosticRequest::Log{std::string{rawText(source_)}, std::move(line)}](
              const Ask& ask) -> Task<void> { static_cast<void>(co_await ask(request)); });
}

}  // namespace larkmoor

// The request side of the contract. The long lists of cases are in ReadRequest.inc, ControlRequest.inc and
// NotesRequest.inc.
#pragma once

#include "LarkmoorBase/JSON/Coding.h"
#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Cards.h"
#include "LarkmoorWire/Catalogue/Recording.h"

namespace larkmoor {

/// What a client asks of the daemon without changing anything.
#define LARKMOOR_VARIANT ReadRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/ReadRequest.inc"
#define LARKMOOR_COMPILED_ONCE
#include "LarkmoorBase/DefineVariant.inc"

/// The key of an object as text, for a reader that does not know the keys in advance.
struct WireKey {
    std::string_view stringValue;

    constexpr WireKey() = default;
    constexpr explicit WireKey(std::string_view text) : stringValue(text) {}
    constexpr WireKey(const char* literal) : stringValue(literal) {}

    bool operator==(const WireKey&) const = default;
};

/// A read request that has no key or several is refused with the keys that it has.
template <>
struct JSONForm<ReadRequest> {
    static std::string wrongKeyCount(const FlatNode& object);
};

/// A command from a client to the daemon.
#define LARKMOOR_VARIANT ControlRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/ControlRequest.inc"
#define LARKMOOR_COMPILED_ONCE
#include "LarkmoorBase/DefineVariant.inc"

/// The request's name in log lines and in `unimplemented`: the case's name in snake case. Static storage.
std::string_view verb(const ControlRequest& request);

/// What a client asks of the notes that agents keep.
#define LARKMOOR_VARIANT NotesRequest
#define LARKMOOR_CASES "LarkmoorWire/Catalogue/NotesRequest.inc"
#define LARKMOOR_COMPILED_ONCE
#include "LarkmoorBase/DefineVariant.inc"

/// A line for the daemon's own log; `source` is the raw text of a `DiagnosticSource` (Tracing.h).
#define LARKMOOR_VARIANT DiagnosticRequest
#define LARKMOOR_CASE_LIST LARKMOOR_CASE(Log, log, (std::string, source), (std::string, line))
#include "LarkmoorBase/DefineVariant.inc"

/// One request; the case names the interface that serves it.
#define LARKMOOR_VARIANT GatewayRequest
#define LARKMOOR_CASE_LIST                                \
    LARKMOOR_CASE(Read, read, (ReadRequest, _0))          \
    LARKMOOR_CASE(Control, control, (ControlRequest, _0)) \
    LARKMOOR_CASE(Notes, notes, (NotesRequest, _0))       \
    LARKMOOR_CASE(Diagnostic, diagnostic, (DiagnosticRequest, _0))
#define LARKMOOR_COMPILED_ONCE
#include "LarkmoorBase/DefineVariant.inc"

}  // namespace larkmoor

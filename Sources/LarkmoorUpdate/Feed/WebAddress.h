// Addresses on the web, as they stand in a document that was fetched from the web.
#pragma once

#include <expected>
#include <string>
#include <string_view>

namespace larkmoor {

enum class AddressFault {
    malformed,    ///< none at all, a control character, no host, or relative to nothing
    otherScheme,  ///< it is whole, and neither http nor https
};

/// The absolute http or https address that `reference` means in a document at `base` (RFC 3986, section 5.2), its
/// scheme in small letters. White space around it is dropped, and what may not stand in an address is escaped. `base`
/// may be empty: then no relative reference has a meaning.
std::expected<std::string, AddressFault> webAddress(std::string_view base, std::string_view reference);

}  // namespace larkmoor

// An address that may be fetched, and where its redirects may lead.
#pragma once

#include <expected>
#include <string>

namespace larkmoor {

struct Address {
    std::string url;
    std::string host;
    bool isSecure;  ///< https

    /// http only if it is allowed; never with a user's name in it. The error is in words.
    static std::expected<Address, std::string> of(const std::string& url, bool allowsHTTP);

    /// Where the header `Location` of this address's answer leads: http only if it is allowed and this is http, too.
    std::expected<Address, std::string> redirected(const std::string& location, bool allowsHTTP) const;
};

}  // namespace larkmoor

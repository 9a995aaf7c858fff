// The verb on archives.
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>

#include <optional>

#include "Command.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "LarkmoorPlatform/Linux/Signatures/HelperSignatures.h"

namespace larkmoor::update {

Outcome verify(const Arguments& arguments) {
    if (arguments.key.empty() || arguments.signature.empty()) {
        return {.status = Outcome::wrongUsage, .errors = "verify wants --key K and --signature S, both in base64"};
    }
    MainLoop loop{1};
    SpawningProcessRunner runner{loop};
    HelperSignatures signatures{runner,
                                {.helper = LARKMOOR_BUNDLE "/Contents/MacOS/larkmoor-verify", .build = LARKMOOR_BUILD}};
    Signatures::Verdict verdict;
    boost::asio::co_spawn(
        loop, signatures.verifyArchive(arguments.words[0], arguments.key, arguments.signature, {}),
        [&verdict](const std::exception_ptr&, Signatures::Verdict told) { verdict = std::move(told); });
    loop.run();
    if (!verdict) return {.status = Outcome::failed, .errors = verdict.error()};
    return {.output = arguments.json ? "true\n" : "the signature holds\n"};
}

}  // namespace larkmoor::update

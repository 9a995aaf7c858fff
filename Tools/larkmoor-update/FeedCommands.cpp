// The verbs on update feeds and on versions.
#include <fmt/format.h>

#include <optional>

#include "Command.h"
#include "JSONText.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/Process.h"
#include "LarkmoorUpdate/Feed/Appcast.h"
#include "LarkmoorUpdate/Feed/Version.h"
#include "LarkmoorUpdate/Feed/WebAddress.h"

namespace larkmoor::update {

namespace {

std::string json(const AppcastItem& item) {
    return fmt::format(R"({{"version":{},"displayVersion":{},"url":{},"info":{},"length":{},"signature":{},"notes":{},)"
                       R"("offerOnly":{},"critical":{}}})",
                       jsonText(item.versionString), jsonText(item.displayVersionString), jsonText(item.url),
                       jsonText(item.infoURL), item.length ? fmt::to_string(*item.length) : "null",
                       jsonText(item.signature), jsonText(item.notesURL), item.isOfferOnly, item.isCritical);
}

}  // namespace

Outcome compare(const Arguments& arguments) {
    const auto order = compareVersions(arguments.words[0], arguments.words[1]);
    const char sign = order < 0 ? '<' : order > 0 ? '>' : '=';
    return {.output = arguments.json ? fmt::format("\"{}\"\n", sign) : fmt::format("{}\n", sign)};
}

Outcome pick(const Arguments& arguments) {
    if (arguments.build.empty() || arguments.system.empty()) {
        return {.status = Outcome::wrongUsage, .errors = "pick wants --build B and --system V"};
    }
    if (!arguments.base.empty() && !webAddress("", arguments.base)) {
        return {.status = Outcome::wrongUsage, .errors = "--base wants an http or https address"};
    }
    const auto bytes = Files::read(arguments.words[0]);
    if (!bytes) return {.status = Outcome::failed, .errors = bytes.error().description()};
    const auto appcast = readAppcast(*bytes, arguments.base);
    if (!appcast) return {.status = Outcome::failed, .errors = appcast.error()};
    const auto item = larkmoor::pick(*appcast, {.build = arguments.build,
                                                .systemVersion = arguments.system,
                                                .languages = preferredLanguages(environmentVariable)});
    return {.output = (item ? json(*item) : "null") + "\n"};
}

}  // namespace larkmoor::update

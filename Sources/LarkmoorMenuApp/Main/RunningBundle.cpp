#include "LarkmoorMenuApp/Main/RunningBundle.h"

#include <filesystem>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/Process.h"
#include "LarkmoorPlatform/PropertyList.h"
#include "LarkmoorWire/Identity/ClientVersion.h"

namespace larkmoor {

RunningBundle RunningBundle::current() {
    namespace fs = std::filesystem;
    RunningBundle bundle;
    bundle.executable = runningExecutable().value_or("");
    const auto list = ClientVersion::appInfoPlist(bundle.executable);
    if (!list) {
        bundle.folder = fs::path{bundle.executable}.parent_path().string();
        return bundle;
    }
    bundle.folder = list->parent_path().parent_path().string();
    if (const auto bytes = Files::read(list->string())) {
        bundle.version = PropertyList::textUnder(*bytes, "CFBundleShortVersionString");
        bundle.build = PropertyList::textUnder(*bytes, "CFBundleVersion");
        bundle.feedURL = PropertyList::textUnder(*bytes, "SUFeedURL");
        bundle.publicKey = PropertyList::textUnder(*bytes, "SUPublicEDKey");
    }
    return bundle;
}

std::string RunningBundle::beside(const std::string& name) const {
    return (std::filesystem::path{executable}.parent_path() / name).string();
}

}  // namespace larkmoor

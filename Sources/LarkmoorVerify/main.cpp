// larkmoor-verify: tells whether signatures and seals hold. VerifyProtocol.h is its only interface.
#include <fmt/format.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorPlatform/VerifyProtocol.h"
#include "LarkmoorVerify/BundleSeal.h"

namespace larkmoor {

namespace {

namespace protocol = VerifyProtocol;

using Question = std::vector<std::string>;

[[noreturn]] void refuse(protocol::ExitStatus status, const std::string& words) {
    fmt::print(stderr, "{}\n", words);
    std::_Exit(status);
}

template <class Value>
Value expected(std::expected<Value, Words> value, protocol::ExitStatus otherwise) {
    if (!value) refuse(otherwise, value.error());
    return *std::move(value);
}

template <class Value>
Value expected(std::expected<Value, Objection> value) {
    if (!value) refuse(value.error().isVerdict ? protocol::holdsNot : protocol::unread, value.error().words);
    return *std::move(value);
}

std::string withoutSlash(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    return path;
}

bool isBundle(const std::string& path) {
    std::error_code failed;
    return std::filesystem::is_directory(path, failed);
}

void verifyArchive(const Question& question) {
    const auto key = expected(PublicKey::of(question[2]), protocol::holdsNot);
    const auto signature = expected(Signature::of(question[3]), protocol::holdsNot);
    const Verdict verdict = checkArchive(question[1], key, signature);
    if (!verdict) refuse(protocol::holdsNot, verdict.error());
}

void verifyBundle(const Question& question) {
    const auto key = expected(PublicKey::of(question[2]), protocol::holdsNot);
    const auto signer = expected(BundleSeal::check(withoutSlash(question[1])));
    if (signer != key) refuse(protocol::holdsNot, "the bundle is sealed by another key");
}

void verifyStrictly(const std::string& path) {
    expected(isBundle(path) ? BundleSeal::check(withoutSlash(path)) : Seal::check(path));
}

void display(const std::string& path) {
    const auto key = expected(isBundle(path) ? BundleSeal::signer(withoutSlash(path)) : Seal::check(path));
    fmt::print("designated => certificate leaf = H\"{}\"\n", key.hash());
    if (std::fflush(stdout) != 0) std::_Exit(protocol::holdsNot);
}

void answer(const Question& question) {
    const auto asks = [&question](std::size_t count, std::string_view first, std::string_view second = {}) {
        return question.size() == count && question[0] == first && (second.empty() || question[1] == second);
    };
    if (asks(4, protocol::archive)) return verifyArchive(question);
    if (asks(3, protocol::bundle)) return verifyBundle(question);
    if (asks(3, protocol::verify, protocol::strict)) return verifyStrictly(question[2]);
    if (asks(3, protocol::display, protocol::requirement)) return display(question[2]);
    refuse(
        protocol::badRequest,
        "usage: larkmoor-verify archive FILE KEY SIGNATURE | bundle FOLDER KEY | --verify --strict PATH | -d -r- PATH");
}

/// What follows the name; "" if the argument has another.
std::string_view valueOf(std::string_view argument, std::string_view name) {
    return argument.starts_with(name) ? argument.substr(name.size()) : std::string_view{};
}

int run(Question arguments) {
    while (!arguments.empty()) {
        const std::string first = arguments.front();
        if (first.starts_with(protocol::build)) {
            const std::string_view build = valueOf(first, protocol::build);
            if (build != LARKMOOR_BUILD) {
                refuse(protocol::otherBuild, fmt::format("this is build " LARKMOOR_BUILD ", and build {} asks", build));
            }
        } else if (first.starts_with(protocol::asker)) {
            // An answer that nobody waits for any more costs nothing further.
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (valueOf(first, protocol::asker) != std::to_string(::getppid())) {
                refuse(protocol::noAsker, "whoever asked is gone");
            }
        } else {
            break;
        }
        arguments.erase(arguments.begin());
    }
    answer(arguments);
    return protocol::holds;
}

}  // namespace

}  // namespace larkmoor

int main(int count, char** arguments) {
    // Run through a descriptor, it would be listed by the descriptor's number.
    ::prctl(PR_SET_NAME, "larkmoor-verify");
    return larkmoor::run({arguments + (count > 0 ? 1 : 0), arguments + count});
}

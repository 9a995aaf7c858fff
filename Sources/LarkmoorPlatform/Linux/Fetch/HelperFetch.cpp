#include "LarkmoorPlatform/Linux/Fetch/HelperFetch.h"

#include <fmt/format.h>
#include <unistd.h>

#include <charconv>
#include <memory>
#include <utility>

#include "LarkmoorBase/Text.h"
#include "LarkmoorPlatform/FetchProtocol.h"

namespace larkmoor {

namespace {

namespace protocol = FetchProtocol;

/// Removes the number at the beginning of `text` and the blank behind it.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
    std::int64_t number = 0;
    const auto [last, failed] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failed != std::errc{}) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(last - text.data()));
    if (text.starts_with(' ')) text.remove_prefix(1);
    return number;
}

/// What the helper says, line by line.
class Report {
  public:
    explicit Report(FetchListener listener) : listener_(std::move(listener)) {}

    void hear(BytesView piece) {
        for (const char each : asText(piece)) {
            if (each != '\n') {
                if (line_.size() < maxLine) line_ += each;
                continue;
            }
            take(line_);
            line_.clear();
        }
    }

    std::optional<std::int64_t> whole{};
    std::string reason{};

  private:
    static constexpr std::size_t maxLine = 4096;

    void take(std::string_view line) {
        const auto begins = [&line](std::string_view word) {
            if (!line.starts_with(word)) return false;
            line.remove_prefix(word.size());
            return true;
        };
        if (begins(protocol::head)) return takeHead(line);
        if (line == protocol::firstByte && listener_.firstByte) return listener_.firstByte();
        if (begins(protocol::failure)) reason = line;
        if (begins(protocol::end)) whole = takeNumber(line);
        if (!begins(protocol::progress)) return;
        if (const auto bytes = takeNumber(line); bytes && listener_.progress) listener_.progress(*bytes);
    }

    void takeHead(std::string_view line) const {
        const auto status = takeNumber(line), length = takeNumber(line);
        if (!status || !length || !listener_.head) return;
        listener_.head({.status = static_cast<int>(*status),
                        .host = std::string{line},
                        .length = *length < 0 ? std::nullopt : length});
    }

    const FetchListener listener_;
    std::string line_;
};

/// Why there is no whole body.
std::string reasonFor(const ProcessResult& result, const Report& report, std::chrono::milliseconds budget) {
    if (std::holds_alternative<ProcessEnds::Stopped>(result.end)) return "cancelled";
    if (result.timedOut()) {
        return fmt::format("not complete after {} s", std::chrono::duration<double>(budget).count());
    }
    if (!report.reason.empty()) return report.reason;
    const std::string_view words = trimmed(asText(result.errors));
    return result.description() + (words.empty() ? "" : "; ") + std::string{words};
}

}  // namespace

HelperFetch::HelperFetch(ProcessRunner& runner, Options options)
    : runner_(runner), options_(std::move(options)), helper_(options_.helper) {}

std::vector<std::string> HelperFetch::arguments(const FetchRequest& request) const {
    std::vector<std::string> arguments{
        fmt::format("{}{}", protocol::build, options_.build), fmt::format("{}{}", protocol::asker, ::getpid()),
        fmt::format("{}{}", protocol::url, request.url), fmt::format("{}{}", protocol::maxBytes, request.maxBytes),
        fmt::format("{}{}", protocol::maxSilence, request.maxSilence.count())};
    if (request.allowsHTTP) arguments.emplace_back(protocol::allowHTTP);
    if (!options_.authorities.empty()) {
        arguments.push_back(fmt::format("{}{}", protocol::authorities, options_.authorities));
    }
    if (const auto* file = std::get_if<FetchTargets::NewFile>(&request.target)) {
        arguments.push_back(fmt::format("{}{}", protocol::output, file->path));
    }
    return arguments;
}

Task<std::expected<std::int64_t, FetchFailure>> HelperFetch::fetch(FetchRequest request, FetchListener listener,
                                                                   std::stop_token stop) {
    const auto report = std::make_shared<Report>(std::move(listener));
    ProcessRequest process{.executable = helper_.executable(),
                           .name = helper_.path(),
                           .arguments = arguments(request),
                           .output = ProcessOutputs::Streamed{[report](BytesView piece) { report->hear(piece); }},
                           .errors = ProcessOutputs::Captured{},
                           .budget = request.budget};
    if (auto* given = std::get_if<FetchTargets::Descriptor>(&request.target)) {
        process.input = ProcessInputs::FromDescriptor{std::move(given->file)};
    }
    const ProcessResult result = co_await runner_.run(std::move(process), stop);
    const std::optional<std::int64_t> whole = report->whole;
    if (whole && result.end == ProcessEnd{ProcessEnds::Exited{protocol::fetched}}) co_return *whole;
    co_return std::unexpected(FetchFailure{reasonFor(result, *report, request.budget)});
}

}  // namespace larkmoor

// The codec against nlohmann::json doing the same work into the same records, in one run.
#include <boost/describe.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "LarkmoorBase/JSON/Coding.h"
#include "LarkmoorWire/Codec/Messages.h"
#include "Statistics.h"

namespace {

std::size_t allocations = 0;

}  // namespace

// Counting is all that these do beyond the default ones.
void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc{};
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace larkmoor {
namespace {

using namespace bench;

// The peer: the usual way of reading records with nlohmann::json, by the same description of the fields.
namespace peer {

using Json = nlohmann::json;

template <class T>
void read(const Json& json, T& out);

template <class T>
void readField(const Json& json, const char* name, T& out) {
    if constexpr (isOptional<T>) {
        const auto found = json.find(name);
        if (found == json.end() || found->is_null()) return;
        read(*found, out.emplace());
    } else {
        read(json.at(name), out);
    }
}

template <class T>
void read(const Json& json, T& out) {
    if constexpr (std::same_as<T, FilterValue>) {
        if (json.is_boolean())
            out = FilterValue::Bool{json.get<bool>()};
        else if (json.is_number())
            out = FilterValue::Number{json.get<double>()};
        else
            out = FilterValue::String{json.get<std::string>()};
    } else if constexpr (isList<T>) {
        out.reserve(json.size());
        for (const Json& element : json) read(element, out.emplace_back());
    } else if constexpr (DescribedRecord<T>) {
        boost::mp11::mp_for_each<FieldsOf<T>>([&](auto field) { readField(json, field.name, out.*field.pointer); });
    } else {
        out = json.get<T>();
    }
}

template <class T>
Json written(const T& value) {
    if constexpr (std::same_as<T, FilterValue>) {
        return value.visit([](const auto& scalar) { return Json(scalar._0); });
    } else if constexpr (isList<T>) {
        Json list = Json::array();
        for (const auto& element : value) list.push_back(written(element));
        return list;
    } else if constexpr (DescribedRecord<T>) {
        Json object = Json::object();
        boost::mp11::mp_for_each<FieldsOf<T>>([&](auto field) {
            const auto& held = value.*field.pointer;
            if constexpr (isOptional<std::remove_cvref_t<decltype(held)>>) {
                if (held) object[field.name] = written(*held);
            } else {
                object[field.name] = written(held);
            }
        });
        return object;
    } else {
        return value;
    }
}

GatewayResponse decodeCards(const std::string& text) {
    const Json json = Json::parse(text);
    if (json.size() != 1) std::abort();
    GatewayResponse::Cards cards;
    readField(json.at("cards"), "_0", cards._0);
    return cards;
}

std::string encodeCards(const GatewayResponse::Cards& cards) {
    Json json;
    json["cards"]["_0"] = written(cards._0);
    return json.dump();
}

GatewayRequest decodeHealth(const std::string& text) {
    const Json json = Json::parse(text);
    if (json.size() != 1 || json.at("read").at("_0").size() != 1 || !json["read"]["_0"].contains("health"))
        std::abort();
    return GatewayRequest::Read{ReadRequest::Health{}};
}

std::string encodeHealth() {
    Json json;
    json["read"]["_0"]["health"] = Json::object();
    return json.dump();
}

}  // namespace peer

/// Cards as a recall gives them: prose with some punctuation and some letters beyond ASCII, most optionals held.
GatewayResponse::Cards manyCards(std::size_t bytes) {
    std::mt19937 random{7};
    const char* const words[] = {"meeting",    "review",      "the",     "of",      "draft", "naïve",
                                 "a/b/c.txt",  "budget",      "Zoë",     "and",     "with",  "numbers,",
                                 "\"quoted\"", "line\nbreak", "to",      "Monday.", "from",  "calendar",
                                 "agreed",     "that",        "release", "is",      "ready", "plan"};
    auto prose = [&](std::size_t count) {
        std::string text;
        for (std::size_t left = count; left > 0; --left)
            text.append(words[random() % std::size(words)]).append(left > 1 ? " " : "");
        return text;
    };
    GatewayResponse::Cards cards;
    for (std::size_t held = 0; held < bytes; held += 620) {
        cards._0.push_back(
            {.kind = "moment",
             .id = "m" + std::to_string(random()),
             .snippet = prose(20),
             .why = prose(8),
             .src = static_cast<Int>(random() % 100000),
             .when = "2026-11-02 14:30",
             .chapter = prose(4),
             .filters = std::vector<FilterPair>{{"project", FilterValue::String{prose(1)}},
                                                {"rank", FilterValue::Number{static_cast<double>(random() % 100) / 4}},
                                                {"done", FilterValue::Bool{true}}},
             .title = prose(5),
             .body = MomentBody{.text = prose(25), .hidden = 2, .source = "screen", .cleaned = true}});
    }
    return cards;
}

/// The median of many timings of one call.
double nanosecondsFor(const std::function<void()>& work, int rounds, int repeats) {
    using Clock = std::chrono::steady_clock;
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        const auto start = Clock::now();
        for (int repeat = 0; repeat < repeats; ++repeat) work();
        times.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count() / repeats);
    }
    return median(std::move(times));
}

void compare(const char* what, int repeats, const std::function<void()>& ours, const std::function<void()>& peers) {
    const int rounds = 31;
    ours(), peers();
    const double mine = nanosecondsFor(ours, rounds, repeats);
    const double theirs = nanosecondsFor(peers, rounds, repeats);
    std::printf("%-28s %12.1f us %12.1f us   %5.1f times as fast\n", what, mine / 1000, theirs / 1000, theirs / mine);
}

int run() {
    const auto cards = manyCards(1 << 20);
    const GatewayResponse answer = cards;
    const Bytes document = *encode(answer);
    const std::string text{asText(document)};
    if (!(peer::decodeCards(text) == answer) || !(*decode<GatewayResponse>(document) == answer) ||
        nlohmann::json::parse(peer::encodeCards(cards)) != nlohmann::json::parse(text)) {
        std::puts("the two do not do the same work");
        return 1;
    }
    const GatewayRequest health = GatewayRequest::Read{ReadRequest::Health{}};
    const Bytes question = *encode(health);
    const std::string questionText{asText(question)};

    std::printf("cards: %zu, %zu bytes; health: %zu bytes; median of 31 runs\n", cards._0.size(), document.size(),
                question.size());
    std::printf("%-28s %15s %15s\n", "", "larkmoor", "nlohmann::json");
    compare(
        "decode cards", 3, [&] { keep(decode<GatewayResponse>(document)); }, [&] { keep(peer::decodeCards(text)); });
    compare("encode cards", 3, [&] { keep(encode(answer)); }, [&] { keep(peer::encodeCards(cards)); });
    compare(
        "decode health", 2000, [&] { keep(decode<GatewayRequest>(question)); },
        [&] { keep(peer::decodeHealth(questionText)); });
    compare("encode health", 2000, [&] { keep(encode(health)); }, [] { keep(peer::encodeHealth()); });

    auto counted = [](const std::function<void()>& work) {
        const std::size_t before = allocations;
        work();
        return allocations - before;
    };
    std::printf("allocations for the health question: encode %zu, decode %zu (nlohmann::json: %zu, %zu)\n",
                counted([&] { keep(encode(health)); }), counted([&] { keep(decode<GatewayRequest>(question)); }),
                counted([] { keep(peer::encodeHealth()); }), counted([&] { keep(peer::decodeHealth(questionText)); }));
    return 0;
}

}  // namespace
}  // namespace larkmoor

int main() { return larkmoor::run(); }

// The contract as the code has it against the contract as it was written down by hand, and every bit of it round trip.
#include <cxxabi.h>

#include <fmt/ranges.h>

#include <set>
#include <sstream>
#include <typeindex>

#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorWire/Catalogue/Tracing.h"
#include "LarkmoorWire/Codec/Messages.h"
#include "Support/Text.h"
#include "Support/WireGenerator.h"

namespace larkmoor {
namespace {

using boost::mp11::mp_for_each;
using boost::mp11::mp_identity;
using boost::mp11::mp_transform;

/// "larkmoor::DayPresence::App" is "DayPresence.App".
template <class T>
std::string nameOf() {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> demangled{
        abi::__cxa_demangle(typeid(T).name(), nullptr, nullptr, &status), std::free};
    std::string name = demangled.get();
    name.erase(0, std::string_view{"larkmoor::"}.size());
    for (const std::string_view mark : {"Parts::", "::"}) {
        for (auto at = name.find(mark); at != std::string::npos; at = name.find(mark))
            name.replace(at, mark.size(), ".");
    }
    return name;
}

/// Collects a line for every variant, case and record that a type reaches.
class Dump {
  public:
    template <class T>
    void add() {
        if constexpr (std::same_as<T, Bytes>) {
            return;
        } else if constexpr (isOptional<T> || isList<T>) {
            add<typename T::value_type>();
        } else if constexpr (isTextMap<T>) {
            add<typename T::mapped_type>();
        } else if constexpr (RawText<T>) {
            std::vector<std::string_view> cases;
            mp_for_each<boost::describe::describe_enumerators<T>>(
                [&](auto enumerator) { cases.push_back(enumerator.name); });
            lines.insert(fmt::format("{} = {}", nameOf<T>(), fmt::join(cases, ", ")));
        } else if constexpr (DescribedVariant<T>) {
            mp_for_each<mp_transform<mp_identity, typename T::Alternatives>>([&](auto type) {
                using Case = typename decltype(type)::type;
                const std::string fields = fieldsOf<Case>();
                lines.insert(
                    fmt::format("{}.{}{}{}", T::variantName, Case::wireName, fields.empty() ? "" : " ", fields));
            });
        } else if constexpr (DescribedRecord<T>) {
            lines.insert(fmt::format("{} {{{}}}", nameOf<T>(), fieldsOf<T>()));
        }
    }

    std::set<std::string> lines;

  private:
    template <class T>
    std::string fieldsOf() {
        std::vector<std::string> fields;
        mp_for_each<FieldsOf<T>>([&](auto field) {
            using Field = std::remove_cvref_t<decltype(std::declval<T&>().*field.pointer)>;
            fields.push_back(fmt::format("{}: {}", field.name, spelled<Field>()));
            add<Field>();
        });
        return fmt::format("{}", fmt::join(fields, ", "));
    }

    template <class T>
    static std::string spelled() {
        if constexpr (isOptional<T>)
            return spelled<typename T::value_type>() + "?";
        else if constexpr (std::same_as<T, Bytes>)
            return "bytes";
        else if constexpr (isList<T>)
            return "[" + spelled<typename T::value_type>() + "]";
        else if constexpr (isTextMap<T>)
            return "[text: " + spelled<typename T::mapped_type>() + "]";
        static const std::map<std::type_index, std::string> plain{{typeid(std::string), "text"},
                                                                  {typeid(bool), "bool"},
                                                                  {typeid(Int), "Int"},
                                                                  {typeid(double), "Double"},
                                                                  {typeid(Duration), "Duration"}};
        const auto found = plain.find(typeid(T));
        return found == plain.end() ? nameOf<T>() : found->second;
    }
};

TEST(Catalogue, IsWhatWasWrittenDown) {
    Dump dump;
    dump.add<GatewayRequest>();
    dump.add<GatewayResponse>();
    dump.add<GatewayEvent>();
    // No message carries these, yet they are of the contract.
    dump.add<DiagnosticSource>();
    dump.add<IconTrail>();
    dump.add<LinkStages>();
    dump.add<ShortcutCard>();
    dump.add<ShortcutDetail>();
    dump.add<ShortcutRow>();

    std::set<std::string> written;
    std::istringstream file{testing::testData("catalogue.txt")};
    for (std::string line; std::getline(file, line);) {
        if (!line.empty()) EXPECT_TRUE(written.insert(line).second) << "twice: " << line;
    }
    ASSERT_FALSE(written.empty());
    for (const auto& line : dump.lines) EXPECT_TRUE(written.contains(line)) << "only in the code: " << line;
    for (const auto& line : written) EXPECT_TRUE(dump.lines.contains(line)) << "only in the file: " << line;
}

template <class T>
void expectSame(const std::expected<Bytes, CodingFailure>& document, const std::expected<T, CodingFailure>& back,
                const T& value) {
    ASSERT_TRUE(document) << document.error().description();
    ASSERT_TRUE(back) << testing::text(*document) << "\n" << back.error().description();
    EXPECT_TRUE(*back == value) << testing::text(*document);
}

template <WireMessage T>
void expectRoundTrip(const T& message) {
    const auto document = encode(message);
    expectSame(document, decode<T>(document.value_or(Bytes{})), message);
}

template <class T>
void expectRoundTrip(const T& value) {
    const auto document = Encoder::encode(value);
    expectSame(document, Decoder::decode<T>(document.value_or(Bytes{})), value);
}

/// Every case of the variant, with a payload made up, as the message that carries it.
template <class Variant, class Carrier = Variant>
void expectRoundTrips(testing::WireGenerator& generator) {
    for (std::size_t index = 0; index < std::variant_size_v<typename Variant::Alternatives>; ++index) {
        if constexpr (std::same_as<Variant, Carrier>)
            expectRoundTrip(generator.makeCase<Variant>(index));
        else
            expectRoundTrip(GatewayRequest{Carrier{generator.makeCase<Variant>(index)}});
    }
}

TEST(Catalogue, EveryCaseAndRecordSurvivesTheRoundTrip) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        testing::WireGenerator generator{seed};
        expectRoundTrips<ReadRequest, GatewayRequest::Read>(generator);
        expectRoundTrips<ControlRequest, GatewayRequest::Control>(generator);
        expectRoundTrips<NotesRequest, GatewayRequest::Notes>(generator);
        expectRoundTrips<DiagnosticRequest, GatewayRequest::Diagnostic>(generator);
        expectRoundTrips<GatewayResponse>(generator);
        expectRoundTrips<GatewayEvent>(generator);
        expectRoundTrips<ShortcutInjection>(generator);
        expectRoundTrip(generator.make<std::vector<FilterValue>>());
        expectRoundTrip(generator.make<ShortcutCard>());
        expectRoundTrip(generator.make<ShortcutDetail>());
        expectRoundTrip(generator.make<ShortcutRow>());
    }
}

}  // namespace
}  // namespace larkmoor

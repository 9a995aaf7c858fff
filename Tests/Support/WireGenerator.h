// Values of any type of the contract, made from its description, so that no case and no field can be left out.
#pragma once

#include <random>

#include "LarkmoorBase/JSON/Coding.h"
#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Cards.h"

namespace larkmoor::testing {

/// Repeatable by its seed.
class WireGenerator {
  public:
    explicit WireGenerator(unsigned seed) : random_(seed) {}

    template <class T>
    T make() {
        if constexpr (isOptional<T>) {
            if (pick(2) == 0) return std::nullopt;
            return make<typename T::value_type>();
        } else if constexpr (std::same_as<T, Bytes>) {
            Bytes bytes(pick(7));
            for (auto& byte : bytes) byte = static_cast<std::byte>(pick(256));
            return bytes;
        } else if constexpr (isList<T>) {
            T list(pick(3));
            for (auto& element : list) element = make<typename T::value_type>();
            return list;
        } else if constexpr (isTextMap<T>) {
            T map;
            for (std::size_t left = pick(3); left > 0; --left)
                map[make<std::string>()] = make<typename T::mapped_type>();
            return map;
        } else if constexpr (RawText<T>) {
            return fromEnumerators<T>();
        } else if constexpr (DescribedVariant<T>) {
            return makeCase<T>(pick(std::variant_size_v<typename T::Alternatives>));
        } else if constexpr (DescribedRecord<T>) {
            T record;
            boost::mp11::mp_for_each<FieldsOf<T>>([&](auto field) {
                auto& value = record.*field.pointer;
                value = make<std::remove_cvref_t<decltype(value)>>();
            });
            return record;
        } else if constexpr (std::same_as<T, bool>) {
            return pick(2) == 0;
        } else if constexpr (std::same_as<T, Int>) {
            constexpr Int edges[] = {0, 1, -1, 9007199254740993, INT64_MAX, INT64_MIN};
            return pick(2) == 0 ? edges[pick(std::size(edges))] : static_cast<Int>(random_() >> 20);
        } else if constexpr (std::same_as<T, double>) {
            constexpr double edges[] = {0, -0.5, 5, 1e300, 5e-324, 1.7976931348623157e308, 0.1, 1732205100.123456};
            return edges[pick(std::size(edges))];
        } else if constexpr (std::same_as<T, Date>) {
            return Date{make<double>()};
        } else {
            static_assert(std::same_as<T, std::string>);
            constexpr const char* pieces[] = {
                "", "a", "\"", "\\", "/", "\n", "\x01", "é", "›", "𝄞", "longer than a small text is"};
            std::string text;
            for (std::size_t left = pick(4); left > 0; --left) text += pieces[pick(std::size(pieces))];
            return text;
        }
    }

    /// The variant's case of that number, with a payload made up.
    template <DescribedVariant V>
    V makeCase(std::size_t index) {
        V variant;
        std::size_t at = 0;
        boost::mp11::mp_for_each<boost::mp11::mp_transform<boost::mp11::mp_identity, typename V::Alternatives>>(
            [&](auto type) {
                using Case = typename decltype(type)::type;
                if (at++ == index) variant = V{make<Case>()};
            });
        return variant;
    }

  private:
    std::size_t pick(std::size_t below) { return random_() % below; }

    template <RawText E>
    E fromEnumerators() {
        using Described = boost::describe::describe_enumerators<E>;
        std::size_t left = pick(boost::mp11::mp_size<Described>::value);
        E value{};
        boost::mp11::mp_for_each<Described>([&](auto enumerator) {
            if (left-- == 0) value = enumerator.value;
        });
        return value;
    }

    std::mt19937_64 random_;
};

}  // namespace larkmoor::testing

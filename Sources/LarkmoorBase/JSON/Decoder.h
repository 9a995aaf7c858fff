// JSON reader: from a document to a value, as Coding.h maps types. Its templates generate much code: include it only in
// the .cpp file that reads.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <expected>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/JSON/Coding.h"
#include "LarkmoorBase/JSON/FlatDocument.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

/// One decoding. The path of an error is put together while the calls return, so a valid document has no cost for it.
class Decoder {
  public:
    /// The value of the whole document; any bytes are safe. Any thread.
    template <class T>
    static std::expected<T, CodingFailure> decode(BytesView bytes, Strictness strictness = Strictness::lenient) {
        FlatDocument document;
        if (auto parsed = document.parse(bytes, strictness); !parsed) return std::unexpected(std::move(parsed.error()));
        Decoder decoder;
        std::expected<T, CodingFailure> value;
        if (!decoder.read(document.root(), *value)) value = std::unexpected(std::move(decoder.failure_));
        return value;
    }

    // For a `JSONForm`.

    using Kind = FlatNode::Kind;

    /// False if the node does not fit: the reason is noted, and the value of `out` is unspecified.
    template <class T>
    bool read(const FlatNode& node, T& out) {
        if constexpr (HasOwnJSONForm<T>) {
            return JSONForm<T>::read(*this, node, out);
        } else if constexpr (isOptional<T>) {
            if (node.kind == Kind::null) return out.reset(), true;
            return read(node, out.emplace());
        } else if constexpr (isList<T> && !std::same_as<T, Bytes>) {
            return readList(node, out);
        } else if constexpr (isTextSet<T>) {
            return readSet(node, out);
        } else if constexpr (isTextMap<T>) {
            return readMap(node, out);
        } else if constexpr (RawText<T>) {
            return readRawText(node, out);
        } else if constexpr (DescribedVariant<T>) {
            return readVariant(node, out);
        } else if constexpr (DescribedRecord<T>) {
            return readRecord(node, out);
        } else {
            return readScalar(node, out);
        }
    }

    /// Notes the reason and returns false.
    bool fail(std::string reason);

  private:
    bool readScalar(const FlatNode& node, std::string& out);
    bool readScalar(const FlatNode& node, bool& out);
    bool readScalar(const FlatNode& node, Int& out);
    bool readScalar(const FlatNode& node, std::int32_t& out);
    bool readScalar(const FlatNode& node, double& out);
    bool readScalar(const FlatNode& node, Bytes& out);
    bool readScalar(const FlatNode& node, Date& out);

    template <class T>
    bool readList(const FlatNode& node, std::vector<T>& out) {
        if (node.kind != Kind::array) return fail("expected an array");
        out.clear();
        // A count in foreign bytes reserves no more than its parsed values take already.
        out.reserve(std::min<std::size_t>(node.size, node.span * sizeof(FlatNode) / sizeof(T)));
        for (const FlatNode* element = node.begin(); element != node.end(); element = element->next()) {
            if (!read(*element, out.emplace_back())) return under(out.size() - 1);
        }
        return true;
    }

    template <class T>
    bool readSet(const FlatNode& node, std::set<T>& out) {
        std::vector<T> elements;
        if (!readList(node, elements)) return false;
        out = {std::make_move_iterator(elements.begin()), std::make_move_iterator(elements.end())};
        return true;
    }

    template <class T>
    bool readMap(const FlatNode& node, std::map<std::string, T>& out) {
        if (node.kind != Kind::object) return fail("expected an object");
        out.clear();
        for (const FlatNode* member = node.begin(); member != node.end(); member = member->next()) {
            if (!read(*member, out[std::string{member->key()}])) return under(member->key());
        }
        return true;
    }

    template <RawText E>
    bool readRawText(const FlatNode& node, E& out) {
        if (node.kind != Kind::string) return fail("expected a string");
        const auto value = fromRawText<E>(node.text());
        if (!value) return fail(fmt::format("unknown case: {}", node.text()));
        out = *value;
        return true;
    }

    template <DescribedRecord R>
    bool readRecord(const FlatNode& node, R& out) {
        if (node.kind != Kind::object) return fail("expected an object");
        std::uint64_t seen = 0;
        const FlatNode* member = node.begin();
        const FlatNode* const end = node.end();
        bool fits = true;
        // Writers keep the declared order, so that one pass over the fields takes nearly every document whole.
        std::uint64_t bit = 1;
        boost::mp11::mp_for_each<FieldsOf<R>>([&](auto field) {
            if (fits && member != end && member->key() == std::string_view{field.name}) {
                seen |= bit;
                fits = read(*member, out.*field.pointer) || under(field.name);
                member = member->next();
            }
            bit <<= 1;
        });
        for (; fits && member != end; member = member->next()) fits = readMember<R>(*member, out, seen);
        return fits && requireFields<R>(seen);
    }

    /// Reads the field that the member names, if there is one; replaces the value of an earlier member with the same
    /// name.
    template <DescribedRecord R>
    bool readMember(const FlatNode& member, R& out, std::uint64_t& seen) {
        bool fits = true;
        bool found = false;
        std::uint64_t bit = 1;
        boost::mp11::mp_for_each<FieldsOf<R>>([&](auto field) {
            using Field = std::remove_cvref_t<decltype(std::declval<R&>().*field.pointer)>;
            if (!found && member.key() == std::string_view{field.name}) {
                found = true;
                // All other kinds of value are overwritten whole.
                if constexpr (DescribedRecord<Field>) {
                    if ((seen & bit) != 0) out.*field.pointer = Field{};
                }
                seen |= bit;
                fits = read(member, out.*field.pointer) || under(field.name);
            }
            bit <<= 1;
        });
        return fits;
    }

    template <DescribedRecord R>
    bool requireFields(std::uint64_t seen) {
        bool complete = true;
        std::uint64_t bit = 1;
        boost::mp11::mp_for_each<FieldsOf<R>>([&](auto field) {
            using Field = std::remove_cvref_t<decltype(std::declval<R&>().*field.pointer)>;
            if constexpr (!isOptional<Field>) {
                if (complete && (seen & bit) == 0) complete = fail("missing") || under(field.name);
            }
            bit <<= 1;
        });
        return complete;
    }

    template <DescribedVariant V>
    bool readVariant(const FlatNode& node, V& out) {
        if (node.kind != Kind::object) return fail("expected an object");
        if (node.size != 1) {
            if constexpr (HasWrongKeyCountReason<V>) {
                return fail(JSONForm<V>::wrongKeyCount(node));
            } else {
                return fail("Invalid number of keys found, expected one.");
            }
        }
        const FlatNode& payload = *node.begin();
        const std::string_view key = payload.key();
        bool found = false;
        bool fits = false;
        boost::mp11::mp_for_each<boost::mp11::mp_transform<boost::mp11::mp_identity, typename V::Alternatives>>(
            [&](auto type) {
                using Case = typename decltype(type)::type;
                if (!found && key == Case::wireName) {
                    found = true;
                    fits = read(payload, out.template emplace<Case>()) || under(key);
                }
            });
        return found ? fits : fail(fmt::format("Unknown {} case: {}", V::variantName, key));
    }

    // Put the place in front of the failure's path, and return false.
    bool under(std::string_view name);
    bool under(std::size_t index);

    CodingFailure failure_;
};

}  // namespace larkmoor

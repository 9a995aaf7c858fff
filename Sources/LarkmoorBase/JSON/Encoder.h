// JSON writer: from a value to its document, as Coding.h maps types. Its templates generate much code: include it only
// in the .cpp file that writes.
#pragma once

#include <algorithm>
#include <array>
#include <expected>
#include <string>
#include <string_view>
#include <utility>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/JSON/Coding.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

/// One encoding: fields in declared order, an empty optional field left out, "/" not escaped. Fails on text that is not
/// UTF-8 and on a number that is not finite: JSON has no form for them. Any thread.
class Encoder {
  public:
    template <class T>
    static std::expected<Bytes, CodingFailure> encode(const T& value, Layout layout = Layout::compact) {
        Encoder encoder;
        encoder.write(value);
        if (encoder.failure_) return std::unexpected(*std::move(encoder.failure_));
        return copyBytes(layout == Layout::pretty ? pretty(encoder.out_) : encoder.out_);
    }

    /// For a `JSONForm`.
    template <class T>
    void write(const T& value) {
        if constexpr (HasOwnJSONForm<T>) {
            JSONForm<T>::write(*this, value);
        } else if constexpr (isOptional<T>) {
            // An element of a list; an empty field does not come here.
            if (value) {
                write(*value);
            } else {
                put("null");
            }
        } else if constexpr (isList<T> && !std::same_as<T, Bytes>) {
            Separator separator{*this, "["};
            for (const auto& element : value) separator.next(), write(element);
            put("]");
        } else if constexpr (isTextSet<T>) {
            writeSet(value);
        } else if constexpr (isTextMap<T>) {
            Separator separator{*this, "{"};
            for (const auto& [key, element] : value) separator.next(), writeScalar(key), put(":"), write(element);
            put("}");
        } else if constexpr (RawText<T>) {
            put("\""), put(rawText(value)), put("\"");
        } else if constexpr (DescribedVariant<T>) {
            value.visit(
                [this](const auto& held) { put("{\""), put(held.wireName), put("\":"), writeRecord(held), put("}"); });
        } else if constexpr (DescribedRecord<T>) {
            writeRecord(value);
        } else {
            writeScalar(value);
        }
    }

  private:
    Encoder() { out_.reserve(smallDocument); }

    template <class T>
    void writeSet(const std::set<T>& values) {
        std::vector<std::string_view> texts;
        for (const T& value : values) {
            if constexpr (RawText<T>) {
                texts.push_back(rawText(value));
            } else {
                texts.push_back(value);
            }
        }
        std::ranges::sort(texts);
        Separator separator{*this, "["};
        for (const std::string_view text : texts) separator.next(), writeScalar(text);
        put("]");
    }

    template <DescribedRecord R>
    void writeRecord(const R& record) {
        std::size_t comma = 1;  // what the first key is written without
        put("{");
        boost::mp11::mp_for_each<FieldsOf<R>>([&](auto field) {
            const auto& value = record.*field.pointer;
            constexpr std::string_view key{keyText<decltype(field)>.data(), keyText<decltype(field)>.size()};
            if constexpr (isOptional<std::remove_cvref_t<decltype(value)>>) {
                if (value) put(key.substr(std::exchange(comma, 0))), write(*value);
            } else {
                put(key.substr(std::exchange(comma, 0))), write(value);
            }
        });
        put("}");
    }

    /// A field's name as written in the document, `,"name":`, put together at compile time.
    template <class Field>
    static constexpr auto keyText = [] {
        constexpr std::string_view name = Field::name;
        std::array<char, name.size() + 4> text{',', '"'};
        std::ranges::copy(name, text.begin() + 2);
        text[name.size() + 2] = '"';
        text[name.size() + 3] = ':';
        return text;
    }();

    void writeScalar(std::string_view text);
    void writeScalar(bool truth) { put(truth ? "true" : "false"); }
    void writeScalar(Int number);
    void writeScalar(std::int32_t number) { writeScalar(Int{number}); }
    void writeScalar(double number);
    void writeScalar(const Bytes& bytes);
    void writeScalar(const Date& date) { writeScalar(date.secondsSinceReference); }

    void writeEscape(char byte);

    void put(std::string_view text) { out_ += text; }
    void fail(std::string_view reason);

    static std::string pretty(std::string_view compact);

    // Most of the menu's messages fit; larger documents grow from here.
    static constexpr std::size_t smallDocument = 256;

    struct Separator {
        Encoder& encoder;
        bool isFirst = true;

        Separator(Encoder& owner, std::string_view opening) : encoder(owner) { encoder.put(opening); }
        void next() {
            if (!std::exchange(isFirst, false)) encoder.put(",");
        }
    };

    std::string out_;
    std::optional<CodingFailure> failure_;
};

}  // namespace larkmoor

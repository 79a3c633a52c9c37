#include "tools/zebdiag/JsonWriter.h"

#include "tools/zebdiag/Console.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

namespace {

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

}  // namespace

void JsonWriter::Key(std::string_view key) {
    if (comma_) {
        text_ += ',';
    }
    if (!key.empty()) {
        Quoted(key);
        text_ += ':';
    }
    comma_ = true;
}

void JsonWriter::Escaped(char16_t unit) {
    constexpr std::string_view digits = "0123456789abcdef";
    text_ += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        text_ += digits[(static_cast<unsigned>(unit) >> shift) & 0xFu];
    }
}

void JsonWriter::Quoted(std::string_view value) {
    text_ += '"';
    for (const char c : value) {
        if (c == '"' || c == '\\') {
            text_ += '\\';
            text_ += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            Escaped(static_cast<char16_t>(c));
        } else {
            text_ += c;
        }
    }
    text_ += '"';
}

void JsonWriter::Quoted(std::u16string_view value) {
    text_ += '"';
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char16_t unit = value[i];
        if (IsHighSurrogate(unit) && i + 1 < value.size() && IsLowSurrogate(value[i + 1])) {
            text_ += Utf8(value.substr(i, 2));
            ++i;
        } else if (unit < 0x20 || IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
            Escaped(unit);
        } else if (unit == u'"' || unit == u'\\') {
            text_ += '\\';
            text_ += static_cast<char>(unit);
        } else {
            text_ += Utf8(value.substr(i, 1));
        }
    }
    text_ += '"';
}

JsonWriter& JsonWriter::BeginObject(std::string_view key) {
    Key(key);
    text_ += '{';
    comma_ = false;
    return *this;
}

JsonWriter& JsonWriter::EndObject() {
    text_ += '}';
    comma_ = true;
    return *this;
}

JsonWriter& JsonWriter::BeginArray(std::string_view key) {
    Key(key);
    text_ += '[';
    comma_ = false;
    return *this;
}

JsonWriter& JsonWriter::EndArray() {
    text_ += ']';
    comma_ = true;
    return *this;
}

JsonWriter& JsonWriter::Text(std::string_view key, std::string_view value) {
    Key(key);
    Quoted(value);
    return *this;
}

JsonWriter& JsonWriter::Text(std::string_view key, std::u16string_view value) {
    Key(key);
    Quoted(value);
    return *this;
}

JsonWriter& JsonWriter::Number(std::string_view key, std::uint64_t value) {
    Key(key);
    text_ += std::to_string(value);
    return *this;
}

JsonWriter& JsonWriter::Bool(std::string_view key, bool value) {
    Key(key);
    text_ += value ? "true" : "false";
    return *this;
}

JsonWriter& JsonWriter::Element(std::u16string_view value) { return Text({}, value); }
JsonWriter& JsonWriter::Element(std::string_view value) { return Text({}, value); }

}  // namespace HVR::zebdiag

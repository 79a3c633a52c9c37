// Writes one JSON object or array, in the order given.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace HVR::zebdiag {

// Keys and narrow texts are UTF-8. Control characters, quotes and backslashes are escaped; lone surrogates are
// written as \uXXXX, so that nothing of a path is lost.
class JsonWriter {
public:
    JsonWriter& BeginObject(std::string_view key = {});
    JsonWriter& EndObject();
    JsonWriter& BeginArray(std::string_view key);
    JsonWriter& EndArray();
    JsonWriter& Text(std::string_view key, std::string_view value);
    JsonWriter& Text(std::string_view key, std::u16string_view value);
    JsonWriter& Number(std::string_view key, std::uint64_t value);
    JsonWriter& Bool(std::string_view key, bool value);
    // An element of an array.
    JsonWriter& Element(std::u16string_view value);
    JsonWriter& Element(std::string_view value);

    [[nodiscard]] const std::string& Str() const noexcept { return text_; }

private:
    void Key(std::string_view key);
    void Quoted(std::string_view value);
    void Quoted(std::u16string_view value);
    void Escaped(char16_t unit);

    std::string text_;
    bool comma_ = false;
};

}  // namespace HVR::zebdiag

#include "tools/zebdiag/Output.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tslib/Utf8.h"
#include "tslib/platform/Digits.h"

namespace HVR::zebdiag {

// Found by its name.
static void to_json(nlohmann::ordered_json& json, const Json& value) {
    std::visit([&](const auto& one) { json = one; }, value);
}

void Output::Object(const JsonObject& object) const {
    const nlohmann::ordered_json json = object;
    console_.Out(json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void Output::Indented(std::string_view text) const {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        console_.Out("  " + std::string(line));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

void Output::Warn(std::string_view what) const {
    console_.Err("zebdiag " + std::string(verb_) + ": " + std::string(what));
}

std::string Hexadecimal(std::uint32_t number) {
    std::u16string text = u"0x";
    tsLib::AppendHex<8>(text, number);
    return tsLib::ToUtf8(text);
}

std::string Count(std::uint64_t count, std::string_view what) {
    return std::to_string(count) + " " + std::string(what) + (count == 1 ? "" : "s");
}

}  // namespace HVR::zebdiag

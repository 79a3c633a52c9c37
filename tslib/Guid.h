// A GUID in the platform's memory layout, usable without the platform's headers.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tsLib {

struct Guid {
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::array<std::uint8_t, 8> data4{};

    friend constexpr auto operator<=>(const Guid&, const Guid&) = default;
};
static_assert(sizeof(Guid) == 16);

using ObjectId = Guid;
using InterfaceId = Guid;

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case, 38 characters. Allocates nothing.
class GuidText {
public:
    explicit GuidText(const Guid& guid) noexcept;
    [[nodiscard]] operator std::u16string_view() const noexcept { return {units_.data(), units_.size()}; }

private:
    std::array<char16_t, 38> units_;
};
[[nodiscard]] inline std::u16string ToText(const Guid& guid) { return std::u16string(GuidText(guid)); }
// Reads exactly that form, in either letter case; anything else gives nothing.
[[nodiscard]] std::optional<Guid> GuidFromText(std::u16string_view text) noexcept;

}  // namespace tsLib

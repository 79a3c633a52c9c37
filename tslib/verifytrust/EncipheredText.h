// Texts that must not be found by a plain search of the binary.
//
// A text is enciphered while the program is compiled: Encipher is consteval, so neither the literal nor a copy of it
// reaches an object file, in any kind of build. The key is read through a volatile object at run time, which keeps the
// optimiser from doing the deciphering, too, while it compiles. This hides the text from a search, no more than that.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace tsLib {

namespace detail {

inline constexpr std::uint32_t kTextKey = 0x9E3779B9u;

// One unit of the key stream for each unit of text.
class KeyStream {
public:
    constexpr KeyStream(std::uint32_t key, std::uint32_t seed) noexcept : state_((key ^ (seed * 0x85EBCA6Bu)) | 1u) {}
    constexpr std::uint16_t Next() noexcept {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return static_cast<std::uint16_t>(state_ >> 7);
    }

private:
    std::uint32_t state_;
};

}  // namespace detail

struct EncipheredText {
    std::span<const std::uint16_t> units;
    std::uint32_t seed;
};

// `seed` should differ from text to text, so that equal beginnings do not look equal.
template <std::size_t size>
[[nodiscard]] consteval std::array<std::uint16_t, size - 1> Encipher(const char16_t (&text)[size], std::uint32_t seed) {
    std::array<std::uint16_t, size - 1> units{};
    detail::KeyStream stream(detail::kTextKey, seed);
    for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<std::uint16_t>(text[i] ^ stream.Next());
    }
    return units;
}

// The text in the clear, overwritten when the object goes.
class DecipheredText {
public:
    // Throws std::bad_alloc only.
    explicit DecipheredText(const EncipheredText& text);
    DecipheredText(const DecipheredText&) = delete;
    DecipheredText& operator=(const DecipheredText&) = delete;
    ~DecipheredText();

    [[nodiscard]] const std::u16string& Text() const noexcept { return text_; }

private:
    std::u16string text_;
};

}  // namespace tsLib

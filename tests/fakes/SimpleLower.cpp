#include "tests/fakes/SimpleLower.h"

namespace tests {

char16_t SimpleLower(char16_t unit) noexcept {
    const auto within = [unit](char16_t first, char16_t last) { return unit >= first && unit <= last; };
    const auto plus = [unit](unsigned distance) { return static_cast<char16_t>(unit + distance); };
    if (within(u'A', u'Z') || (within(0xC0, 0xDE) && unit != 0xD7) || (within(0x391, 0x3A9) && unit != 0x3A2) ||
        within(0x410, 0x42F)) {
        return plus(32);
    }
    if (within(0x400, 0x40F)) {
        return plus(80);
    }
    if (unit == 0x178) {
        return 0xFF;
    }
    // Pairs of capital and small letter: the capital is even in most of the block, odd in two stretches.
    const bool evenPairs = (within(0x100, 0x137) && unit != 0x130) || within(0x14A, 0x177);
    const bool oddPairs = within(0x139, 0x148) || within(0x179, 0x17E);
    if ((evenPairs && unit % 2 == 0) || (oddPairs && unit % 2 == 1)) {
        return plus(1);
    }
    return unit;
}

std::u16string SimpleLower(std::u16string_view text) {
    std::u16string lower(text);
    for (char16_t& unit : lower) {
        unit = SimpleLower(unit);
    }
    return lower;
}

}  // namespace tests

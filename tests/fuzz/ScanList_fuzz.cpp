// Selected paths of any units, written by the scan request into a list file, which a decoder that knows nothing of the
// encoder reads back: every code point is there, U+FFFD where a surrogate stood alone. And bytes of any kind, decoded.
#include "shellext/ScanRequest.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tests/fuzz/Fuzz.h"
#include "tslib/Utf8.h"

namespace {

// By the table of well-formed sequences: first byte, second byte's bounds, bytes in all.
std::optional<std::u32string> Decoded(std::string_view bytes) {
    struct Row {
        int first, last, secondFrom, secondTo;
        std::size_t length;
    };
    static constexpr Row kRows[] = {
        {0x00, 0x7F, 0, 0, 1},       {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
        {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
        {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};
    std::u32string points;
    while (!bytes.empty()) {
        const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
        const auto* row =
            std::ranges::find_if(kRows, [&](const Row& r) { return at(0) >= r.first && at(0) <= r.last; });
        if (row == std::end(kRows) || bytes.size() < row->length ||
            (row->length > 1 && (at(1) < row->secondFrom || at(1) > row->secondTo))) {
            return std::nullopt;
        }
        char32_t point = row->length == 1 ? at(0) : at(0) % (1U << (7 - row->length));
        for (std::size_t i = 1; i < row->length; ++i) {
            if (at(i) / 64 != 2) {
                return std::nullopt;
            }
            point = point * 64 + at(i) % 64;
        }
        points += point;
        bytes.remove_prefix(row->length);
    }
    return points;
}

std::u32string Points(std::u16string_view text) {
    std::u32string points;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isPair = text[i] / 0x400 == 0x36 && i + 1 < text.size() && text[i + 1] / 0x400 == 0x37;
        const bool isAlone = !isPair && text[i] / 0x800 == 0x1B;
        points += isAlone ? U'\uFFFD' : isPair ? char32_t{text[i]} * 0x400 + text[i + 1] - 0x35FDC00 : text[i];
        i += isPair ? 1 : 0;
    }
    return points;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::u16string units = fuzz::Wide({data, size});
    tests::FakePlatform fake;
    tests::FakeTrustVerifiers verifiers;
    tsLib::Isolation isolation(fake);
    tsLib::tsPathExpansion expansion(fake, isolation);
    HVR::ScanRequest request(fake, expansion, verifiers);
    tests::FakeTextOutput output(fake.disk);
    tests::FakeDropList drops(fake);
    std::u32string expected;
    for (std::u16string rest = units; !rest.empty();) {
        auto [item, behind] = fuzz::Split(rest, u'\n');
        expected += item.empty() ? U"" : Points(item) + U"\r\n";
        drops.items.push_back(std::move(item));
        rest = std::move(behind);
    }
    const std::u16string list = u"C:\\ScanList742";
    fake.disk.PutFolder(u"C:");
    const auto result = request.WriteScanList(drops, output, list);
    PROPERTY(Succeeded(result) == !drops.items.empty() && !output.IsOpen());
    PROPERTY(Decoded(fake.disk.Text(list)) == expected);

    const std::string_view bytes = fuzz::Narrow({data, size});
    std::u16string decoded = u"untouched";
    const bool isDecoded = tsLib::FromUtf8(bytes, decoded);
    const auto points = Decoded(bytes);
    PROPERTY(isDecoded == points.has_value());
    PROPERTY(isDecoded ? Points(decoded) == *points && tsLib::ToUtf8(decoded) == bytes : decoded == u"untouched");
    return 0;
}

// Selected paths of any units, written by the scan request into a list file, which a decoder that knows nothing of the
// encoder reads back: every code point is there, U+FFFD where a surrogate stood alone. And bytes of any kind, decoded.
#include <iconv.h>

#include "shellext/ScanRequest.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tests/fuzz/Fuzz.h"
#include "tslib/Utf8.h"

namespace {

// By the C library; nothing of bytes that are no UTF-8.
std::optional<std::u32string> Decoded(std::string bytes) {
    static const iconv_t conversion = iconv_open("UTF-32LE", "UTF-8");
    std::u32string points(bytes.size(), U'\0');
    char* from = bytes.data();
    auto* to = reinterpret_cast<char*>(points.data());
    std::size_t given = bytes.size(), room = given * sizeof(char32_t);
    iconv(conversion, nullptr, nullptr, nullptr, nullptr);
    if (iconv(conversion, &from, &given, &to, &room) != 0 || given != 0) {
        return std::nullopt;
    }
    points.resize(points.size() - room / sizeof(char32_t));
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
    const auto points = Decoded(std::string(bytes));
    PROPERTY(isDecoded == points.has_value());
    PROPERTY(isDecoded ? Points(decoded) == *points && tsLib::ToUtf8(decoded) == bytes : decoded == u"untouched");
    return 0;
}

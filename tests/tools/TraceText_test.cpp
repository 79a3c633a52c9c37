#include "tools/zebdiag/TraceText.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tslib/Tracer.h"
#include "tslib/Utf8.h"
#include "tslib/platform/TraceForms.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
using namespace tsLib::platform;
using tsLib::TraceEvent;

// A record in its three forms: as it is, as a line of the debugger's output, packed for event tracing.
struct Forms final : TraceOutput {
    [[nodiscard]] bool IsEnabled(TraceLevel) const noexcept override { return true; }
    void Write(const TraceRecord& record) noexcept override {
        sentence = TraceSentence(record);
        const TraceLine traced(record);
        line = std::u16string(u"[12] ").append(traced.Text());
        EXPECT_EQ(traced.Terminated(), std::u16string(traced.Text()) + u'\n');
        std::array<std::byte, 4096> buffer;
        const std::size_t size = PackArguments(record.arguments, buffer);
        packed.assign(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(size));
    }
    std::string sentence;
    std::u16string line;
    std::vector<std::byte> packed;
};

TEST(TraceText, ARecordReadsTheSameInAllItsForms) {
    Forms forms;
    const tsLib::Tracer tracer(forms);
    const auto expect = [&](const std::string& level, std::uint16_t event, const std::string& words) {
        EXPECT_EQ(forms.sentence, level + " " + words);
        EXPECT_EQ(DecodeTraceLine(forms.line), "[12] " + level + " " + words);
        EXPECT_EQ(DecodePackedTrace(event, forms.packed), words);
    };
    tracer.Error(TraceEvent::TrustRefused, tsLib::TrustResult::CannotDetermine, 3U, std::u16string_view(u"C:\\a ü"));
    expect("error", 300, "300: cannot determine (4) at level 3: C:\\a ü");
    tracer.Verbose(TraceEvent::CatalogMemberRefused, -2146762496, std::u16string_view());
    expect("verbose", 406, "406: the file is no member, 0x800B0100: ");
    tracer.Error(TraceEvent::LifetimeAddressUnknown, SystemError{126}, std::uint64_t{0x7FF812345678});
    expect("error", 805, "805: error 126: no module is at 0x00007FF812345678");
    tracer.Warning(TraceEvent::CatalogNoSha256);
    expect("warning", 400, "400: this system's catalogs know no SHA-256");
    // Hostile texts neither end a line nor make another, and leave room for what follows.
    const std::u16string hostile = u"x\"\r\nHalvora trace 2 1 \"y";
    tracer.Error(TraceEvent::ProcessFileNotOpened, hostile, SystemError{2});
    EXPECT_EQ(DecodeTraceLine(forms.line),
              "[12] error 641: the program cannot be opened: x???Halvora trace 2 1 ?y, error 2");
    tracer.Error(TraceEvent::ProcessFileNotOpened, std::u16string(5000, u'z'), SystemError{2});
    EXPECT_EQ(forms.line.size(), 5U + 1022U);
    EXPECT_TRUE(DecodeTraceLine(forms.line)->ends_with("zzz, error ?"));
    EXPECT_TRUE(DecodePackedTrace(641, forms.packed).ends_with("zzz, error 2"));
    for (std::size_t size = 0; size < forms.packed.size(); size += 100) {
        EXPECT_TRUE(DecodePackedTrace(641, std::span(forms.packed).first(size)).ends_with("?, error ?"));
    }
}

TEST(TraceText, OtherLinesAreNoRecords_AndUnknownEventsShowTheirArguments) {
    for (const char16_t* line : {u"", u"Halvora trace", u"Halvora trace 2", u"CResourceLoader::LoadString failed."}) {
        EXPECT_EQ(DecodeTraceLine(line), std::nullopt);
    }
    EXPECT_EQ(DecodeTraceLine(u"Halvora trace 9 7 \"a\" 12"), "level 9 7: a 12");
    EXPECT_EQ(DecodeTraceLine(u"Halvora trace 2 103 12"), "error 103: %?% is not in the map and no built-in folder: ?");
}

// zebdiag trace events prints it.
TEST(TraceText, TheDocumentIsOfTheTable) {
    std::ostringstream document;
    document << std::ifstream(HALVORA_TRACE_EVENTS).rdbuf();
    EXPECT_EQ(document.str(), TraceEventsDocument()) << "docs/trace-events.md is to be written anew";
}

}  // namespace
}  // namespace tests

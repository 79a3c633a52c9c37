// A whole scan request over fakes.
#pragma once

#include "shellext/ScanRequest.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tests/tslib/PathWorld.h"

namespace tests {

inline const std::u16string kInstallFolder = u"C:\\Program Files\\Halvora";
inline const std::u16string kTestScanner = kInstallFolder + u"\\ScanAgent.exe";
inline const std::u16string kTestList = u"C:\\Temp\\ScanList742";
inline const std::u16string kFallbackKey = u"Software\\Corvane\\InstalledApps";

struct ScanWorld : PathWorld {
    ScanWorld() {
        disk.PutFile(kTestScanner, "MZ");
        disk.PutFolder(u"C:\\Temp");
        SetPlaces(kInstallFolder);
    }
    ~ScanWorld() {
        EXPECT_FALSE(output.IsOpen());
        EXPECT_EQ(verifiers.alive + verifiers.unprepared, 0U);
    }
    // What the resolver knows (a text that it cannot expand, if need be), and the fallback's value.
    void SetPlaces(std::u16string_view installFolder, std::u16string_view fallback = {}) {
        PutToken(u"installdir", installFolder);
        if (!fallback.empty()) {
            registry.PutText(kMachine, kFallbackKey, u"NimEdge", fallback);
        }
    }
    HResult Scan() { return request.Scan(drops, output); }
    // The numbers of this folder's errors and warnings, in order, each behind a blank.
    [[nodiscard]] std::string Complaints() const {
        std::string numbers;
        for (const auto& record : trace.records) {
            const auto number = static_cast<int>(record.event);
            if (record.level <= TraceLevel::Warning && number >= 600 && number < 700) {
                numbers += ' ' + std::to_string(number);
            }
        }
        return numbers;
    }

    FakeTrustVerifiers verifiers;
    FakeTextOutput output{disk};
    FakeDropList drops{*this, {u"C:\\sel\\a.txt"}};
    HVR::ScanRequest request{*this, expansion, verifiers};
};

}  // namespace tests

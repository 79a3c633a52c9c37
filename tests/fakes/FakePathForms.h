// Path transformations over a made-up environment, with the platform's rules for cutting and joining; text mappings.
#pragma once

#include "tests/fakes/Disk.h"
#include "tslib/platform/PathForms.h"
#include "tslib/platform/TextRules.h"

namespace tests {

// Any thread. A fault makes the operations that answer a bool answer false.
class FakePathForms final : public PathForms, FakePart {
public:
    explicit FakePathForms(Disk& disk) : FakePart(disk.Core()), disk_(disk) {}

    SystemError ExpandEnvironment(const std::u16string& text, std::u16string& expanded) override;
    SystemError LongPath(const std::u16string& path, std::u16string& longPath) override {
        return Call("LongPath", path, [&] {
            static_cast<void>(disk_.Existing(path));
            longPath = disk_.Spelled(path);
        });
    }
    SystemError DosDeviceTarget(char16_t driveLetter, std::u16string& target) override;
    [[nodiscard]] bool Append(std::u16string& path, const std::u16string& element) override;
    [[nodiscard]] bool RemoveFileSpec(std::u16string& path) override;
    [[nodiscard]] bool IsUncServer(const std::u16string& path) override {
        return Succeeded(Call("IsUncServer", [&] {
            RequireNoNul(path);
            Require(path.starts_with(u"\\\\") && path.find(u'\\', 2) == std::u16string::npos, SystemError::NotFound);
        }));
    }

    std::map<std::u16string, std::u16string> environment;  // by lower-case name
    std::map<char16_t, std::u16string> dosDevices;         // by capital drive letter

private:
    Disk& disk_;
};

// The two lower-case mappings differ beyond ASCII, as on the platform. Any thread.
class FakeTextRules final : public TextRules, FakePart {
public:
    explicit FakeTextRules(FakeCore& core) : FakePart(core) {}

    SystemError LowerByLocale(std::u16string_view text, std::u16string& lower) override {
        return Call("LowerByLocale", [&] { lower = SimpleLower(text); });
    }
    // The runtime starts in a locale that knows the letters A to Z only.
    [[nodiscard]] char16_t LowerByRuntime(char16_t unit) const noexcept override {
        return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
    }
    [[nodiscard]] int CompareWords(const std::u16string& left, const std::u16string& right) override {
        return left.compare(right);
    }
    SystemError FromNarrow(std::string_view narrow, std::u16string& wide) override;
    SystemError ToNarrow(std::u16string_view wide, std::string& narrow) override;
    [[nodiscard]] std::size_t FirstCharacterLength(std::string_view text) const noexcept override;

    // Narrow texts are Latin-1, or else have lead bytes as code page 932 has: 81 to 9F and E0 to FC.
    bool hasLeadBytes = false;
};

}  // namespace tests

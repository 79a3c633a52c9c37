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

    SystemError ExpandEnvironment(const std::u16string& text, std::u16string& expanded) override {
        return Call("ExpandEnvironment", [&] {
            RequireNoNul(text);
            std::u16string result;
            for (std::size_t at = 0; at < text.size();) {
                const std::size_t end = text[at] == u'%' ? text.find(u'%', at + 1) : std::u16string::npos;
                const bool isName = end != std::u16string::npos;
                const auto variable =
                    isName ? environment.find(SimpleLower(text.substr(at + 1, end - at - 1))) : environment.end();
                // An unknown name stays with both its marks.
                const std::size_t next = isName ? end + 1 : std::min(text.find(u'%', at + 1), text.size());
                result += variable != environment.end() ? variable->second : text.substr(at, next - at);
                at = next;
            }
            expanded = std::move(result);
        });
    }
    SystemError LongPath(const std::u16string& path, std::u16string& longPath) override {
        return Call("LongPath", path, [&] {
            disk_.Existing(path);
            longPath = disk_.Spelled(path);
        });
    }
    SystemError DosDeviceTarget(char16_t driveLetter, std::u16string& target) override {
        return Call("DosDeviceTarget", [&] {
            const auto capital = static_cast<char16_t>(driveLetter & ~0x20);
            Require(capital >= u'A' && capital <= u'Z', SystemError::InvalidParameter);
            target = At(dosDevices, capital, SystemError::FileNotFound);
        });
    }
    [[nodiscard]] bool Append(std::u16string& path, const std::u16string& element) override {
        return Succeeded(Call("Append", [&] {
            RequireNoNul(path + element);
            // A full path takes the place of the first one.
            const bool isFull = element.starts_with(u"\\\\") || element.find(u':') == 1;
            const std::u16string whole = isFull ? element : path + u'\\' + element;
            const std::size_t root = RootLength(whole);
            const std::u16string rest = Elements(std::u16string_view(whole).substr(root), u"\\");
            Require(root + rest.size() < kBufferLength, SystemError::InsufficientBuffer);
            path = whole.substr(0, root) + rest;
        }));
    }
    [[nodiscard]] bool RemoveFileSpec(std::u16string& path) override {
        return Succeeded(Call("RemoveFileSpec", [&] {
            RequireNoNul(path);
            const std::size_t keep = std::max(RootLength(path), ParentOf(path).size());
            Require(keep < path.size(), SystemError::NotFound);
            path.resize(keep);
        }));
    }
    [[nodiscard]] bool IsUncServer(const std::u16string& path) override {
        return Succeeded(Call("IsUncServer", [&] {
            RequireNoNul(path);
            Require(path.starts_with(u"\\\\") && path.find(u'\\', 2) == std::u16string::npos, SystemError::NotFound);
        }));
    }

    std::map<std::u16string, std::u16string> environment;  // by lower-case name
    std::map<char16_t, std::u16string> dosDevices;         // by capital drive letter

private:
    static constexpr std::size_t kBufferLength = 260;

    // The part that is never cut: a drive with its backslash, or the backslashes that a path begins with.
    static std::size_t RootLength(const std::u16string& path) {
        const std::size_t drive = path.find(u':');
        if (drive == 1 || (drive == 5 && path.starts_with(u"\\\\?\\"))) {
            return drive + (path.substr(drive + 1, 1) == u"\\" ? 2 : 1);
        }
        return std::min({path.find_first_not_of(u'\\'), path.size(), std::size_t{2}});
    }

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
    SystemError FromNarrow(std::string_view narrow, std::u16string& wide) override {
        return Call("FromNarrow", [&] {
            std::u16string text;
            for (const char byte : narrow) {
                text += static_cast<char16_t>(static_cast<unsigned char>(byte));
            }
            wide = std::move(text);
        });
    }
    SystemError ToNarrow(std::u16string_view wide, std::string& narrow) override {
        return Call("ToNarrow", [&] {
            std::string bytes;
            for (const char16_t unit : wide) {
                bytes += unit < 0x100 ? static_cast<char>(unit) : '?';
            }
            narrow = std::move(bytes);
        });
    }
    [[nodiscard]] std::size_t FirstCharacterLength(std::string_view text) const noexcept override {
        const auto first = static_cast<unsigned char>(text.front());
        const bool leads = hasLeadBytes && ((first >= 0x81 && first <= 0x9F) || (first >= 0xE0 && first <= 0xFC));
        return !leads ? 1 : text.size() > 1 ? 2 : 0;
    }

    // Narrow texts are Latin-1, or else have lead bytes as code page 932 has: 81 to 9F and E0 to FC.
    bool hasLeadBytes = false;
};

}  // namespace tests

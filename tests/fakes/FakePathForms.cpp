#include "tests/fakes/FakePathForms.h"

#include <algorithm>

namespace tests {

namespace {

constexpr std::size_t kBufferLength = 260;

// The part that is never cut: a drive with its backslash, or the backslashes that a path begins with.
std::size_t RootLength(const std::u16string& path) {
    const std::size_t drive = path.starts_with(u"\\\\?\\") && path.substr(5, 1) == u":" ? 4 : 0;
    if (path.substr(std::min(drive + 1, path.size()), 1) == u":") {
        return drive + (path.substr(drive + 2, 1) == u"\\" ? 3 : 2);
    }
    return std::min({path.find_first_not_of(u'\\'), path.size(), std::size_t{2}});
}

// Resolves the elements "." and "..".
std::u16string Canonical(const std::u16string& path) {
    const std::size_t root = RootLength(path);
    std::vector<std::u16string> elements;
    for (std::size_t from = root; from <= path.size();) {
        const std::size_t end = std::min(path.find(u'\\', from), path.size());
        const std::u16string element = path.substr(from, end - from);
        if (element != u"." && element != u"..") {
            elements.push_back(element);
        } else if (element == u".." && !elements.empty()) {
            elements.pop_back();
        }
        from = end + 1;
    }
    std::u16string result = path.substr(0, root);
    for (std::size_t i = 0; i < elements.size(); ++i) {
        result += (i == 0 ? u"" : u"\\") + elements[i];
    }
    return result.empty() ? u"\\" : result;
}

}  // namespace

SystemError FakePathForms::ExpandEnvironment(const std::u16string& text, std::u16string& expanded) {
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

SystemError FakePathForms::DosDeviceTarget(char16_t driveLetter, std::u16string& target) {
    return Call("DosDeviceTarget", [&] {
        const bool isSmall = driveLetter >= u'a' && driveLetter <= u'z';
        const auto capital = isSmall ? static_cast<char16_t>(driveLetter - 32) : driveLetter;
        Require(capital >= u'A' && capital <= u'Z', SystemError::InvalidParameter);
        target = At(dosDevices, capital, SystemError::FileNotFound);
    });
}

bool FakePathForms::Append(std::u16string& path, const std::u16string& element) {
    return Succeeded(Call("Append", [&] {
        RequireNoNul(path + element);
        const bool isUnc = element.starts_with(u"\\\\");
        std::u16string rest = element.substr(isUnc ? 0 : std::min(element.find_first_not_of(u'\\'), element.size()));
        // A full path takes the place of the first one.
        if (!isUnc && rest.substr(0, 2).find(u':') != 1 && !path.empty()) {
            rest = (path.ends_with(u'\\') || rest.empty() ? path : path + u'\\') + rest;
        }
        Require(rest.size() < kBufferLength, SystemError::InsufficientBuffer);
        path = Canonical(rest);
    }));
}

bool FakePathForms::RemoveFileSpec(std::u16string& path) {
    return Succeeded(Call("RemoveFileSpec", [&] {
        RequireNoNul(path);
        const std::size_t root = RootLength(path);
        const std::size_t cut = path.rfind(u'\\');
        const std::size_t keep = cut == std::u16string::npos || cut < root ? root : cut;
        Require(keep < path.size(), SystemError::NotFound);
        path.resize(keep);
    }));
}

SystemError FakeTextRules::FromNarrow(std::string_view narrow, std::u16string& wide) {
    return Call("FromNarrow", [&] {
        std::u16string text;
        for (const char byte : narrow) {
            text += static_cast<char16_t>(static_cast<unsigned char>(byte));
        }
        wide = std::move(text);
    });
}

SystemError FakeTextRules::ToNarrow(std::u16string_view wide, std::string& narrow) {
    return Call("ToNarrow", [&] {
        std::string bytes;
        for (const char16_t unit : wide) {
            bytes += unit < 0x100 ? static_cast<char>(unit) : '?';
        }
        narrow = std::move(bytes);
    });
}

std::size_t FakeTextRules::FirstCharacterLength(std::string_view text) const noexcept {
    const auto first = static_cast<unsigned char>(text.front());
    const bool leads = hasLeadBytes && ((first >= 0x81 && first <= 0x9F) || (first >= 0xE0 && first <= 0xFC));
    return !leads ? 1 : text.size() > 1 ? 2 : 0;
}

}  // namespace tests

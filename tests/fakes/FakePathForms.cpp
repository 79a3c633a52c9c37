#include "tests/fakes/FakePathForms.h"

#include <algorithm>
#include <vector>

#include "tests/fakes/SimpleLower.h"

namespace tests {

using namespace tsLib::platform;

namespace {

constexpr std::size_t kBufferLength = 260;

bool HoldsNul(const std::u16string& text) { return text.find(u'\0') != std::u16string::npos; }

// The part that is never cut: a drive with its backslash, or the backslashes that a path begins with.
std::size_t RootLength(const std::u16string& path) {
    if (path.starts_with(u"\\\\?\\") && path.size() >= 6 && path[5] == u':') {
        return path.size() > 6 && path[6] == u'\\' ? 7 : 6;
    }
    if (path.size() >= 2 && path[1] == u':') {
        return path.size() > 2 && path[2] == u'\\' ? 3 : 2;
    }
    const std::size_t end = path.find_first_not_of(u'\\');
    return std::min<std::size_t>(end == std::u16string::npos ? path.size() : end, 2);
}

// Resolves the elements "." and "..".
std::u16string Canonical(const std::u16string& path) {
    const std::size_t root = RootLength(path);
    std::vector<std::u16string> elements;
    for (std::size_t from = root; from <= path.size();) {
        const std::size_t end = std::min(path.find(u'\\', from), path.size());
        const std::u16string element = path.substr(from, end - from);
        if (element == u"..") {
            if (!elements.empty()) {
                elements.pop_back();
            }
        } else if (element != u".") {
            elements.push_back(element);
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
    const std::lock_guard lock(mutex_);
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if (HoldsNul(text)) {
        return SystemError::InvalidParameter;
    }
    std::u16string result;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = text[at] == u'%' ? text.find(u'%', at + 1) : std::u16string::npos;
        if (end != std::u16string::npos) {
            const auto variable = environment.find(SimpleLower(text.substr(at + 1, end - at - 1)));
            if (variable != environment.end()) {
                result += variable->second;
                at = end + 1;
                continue;
            }
        }
        // An unknown name stays with both its marks.
        const std::size_t next = end != std::u16string::npos ? end + 1 : std::min(text.find(u'%', at + 1), text.size());
        result += text.substr(at, next - at);
        at = next;
    }
    expanded = std::move(result);
    return SystemError::Success;
}

SystemError FakePathForms::LongPath(const std::u16string& path, std::u16string& longPath) {
    const std::lock_guard lock(mutex_);
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if (const auto found = longPaths.find(SimpleLower(path)); found != longPaths.end()) {
        longPath = found->second;
        return SystemError::Success;
    }
    std::u16string spelled = files_ == nullptr ? std::u16string() : files_->Spelled(path);
    if (spelled.empty()) {
        return SystemError::FileNotFound;
    }
    longPath = std::move(spelled);
    return SystemError::Success;
}

SystemError FakePathForms::DosDeviceTarget(char16_t driveLetter, std::u16string& target) {
    const std::lock_guard lock(mutex_);
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    const bool small = driveLetter >= u'a' && driveLetter <= u'z';
    const auto capital = small ? static_cast<char16_t>(driveLetter - 32) : driveLetter;
    if (capital < u'A' || capital > u'Z') {
        return SystemError::InvalidParameter;
    }
    const auto found = dosDevices.find(capital);
    if (found == dosDevices.end()) {
        return SystemError::FileNotFound;
    }
    target = found->second;
    return SystemError::Success;
}

bool FakePathForms::Append(std::u16string& path, const std::u16string& element) {
    const std::lock_guard lock(mutex_);
    if (Failed(Fault()) || HoldsNul(path) || HoldsNul(element)) {
        return false;
    }
    const bool unc = element.starts_with(u"\\\\");
    std::u16string rest = unc ? element : element.substr(std::min(element.find_first_not_of(u'\\'), element.size()));
    // A full path takes the place of the first one.
    const bool full = unc || (rest.size() >= 2 && rest[1] == u':');
    if (!full && !path.empty()) {
        rest = (path.ends_with(u'\\') || rest.empty() ? path : path + u'\\') + rest;
    }
    if (rest.size() >= kBufferLength) {
        return false;
    }
    path = Canonical(rest);
    return true;
}

bool FakePathForms::RemoveFileSpec(std::u16string& path) {
    const std::lock_guard lock(mutex_);
    if (Failed(Fault()) || HoldsNul(path)) {
        return false;
    }
    const std::size_t root = RootLength(path);
    const std::size_t cut = path.rfind(u'\\');
    const std::size_t keep = cut == std::u16string::npos || cut < root ? root : cut;
    if (keep >= path.size()) {
        return false;
    }
    path.resize(keep);
    return true;
}

bool FakePathForms::IsUncServer(const std::u16string& path) {
    const std::lock_guard lock(mutex_);
    if (Failed(Fault()) || HoldsNul(path)) {
        return false;
    }
    return path.starts_with(u"\\\\") && path.find(u'\\', 2) == std::u16string::npos;
}

}  // namespace tests

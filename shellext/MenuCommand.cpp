#include "shellext/MenuCommand.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

#include "shellext/OrientationSetting.h"

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::platform::SystemError;

namespace {

constexpr std::uintptr_t kHighestOffset = 0xFFFF;
constexpr std::size_t kMenuTextCapacity = 260;
constexpr std::uint32_t kHelpTextCapacity = 512;

bool EqualsTerminated(const char16_t* left, const char16_t* right) noexcept {
    while (*left == *right && *left != u'\0') {
        ++left;
        ++right;
    }
    return *left == *right;
}

// Copies at most capacity - 1 of the text's units as they are, a surrogate pair may be cut, and always terminates.
// Without a buffer or room nothing is written.
void CopyText(std::u16string_view source, void* buffer, std::size_t capacity) noexcept {
    if (buffer != nullptr && capacity != 0) {
        auto* const target = static_cast<char16_t*>(buffer);
        target[source.copy(target, capacity - 1)] = u'\0';
    }
}

// The same with whole characters of the ANSI code page: stops before one that does not fit, and before half a character
// at the source's end.
void CopyText(std::string_view source, void* buffer, std::size_t capacity,
              const tsLib::platform::TextRules& textRules) noexcept {
    if (buffer == nullptr || capacity == 0) {
        return;
    }
    std::size_t end = 0;
    while (end < source.size()) {
        const std::size_t length = textRules.FirstCharacterLength(source.substr(end));
        if (length == 0 || length > capacity - 1 - end) {
            break;
        }
        end += length;
    }
    auto* const target = static_cast<char*>(buffer);
    target[source.copy(target, end)] = '\0';
}

}  // namespace

MenuCommand::~MenuCommand() {
    for (const TakenDropList& taken : taken_) {
        shell_.GiveBack(taken);
    }
    if (dropList_ != DropHandle{}) {
        shell_.LeaveApartment();
    }
}

HResult MenuCommand::Initialize(SelectionHandle selection) {
    std::fill(std::begin(verb_), std::end(verb_), '\0');
    std::fill(std::begin(wideVerb_), std::end(wideVerb_), u'\0');
    if (selection == SelectionHandle{}) {
        tracer_.Error(TraceEvent::MenuNoDataObject);
        return HResult::Fail;
    }
    taken_.reserve(taken_.size() + 1);
    TakenDropList taken;
    const HResult result = shell_.TakeDropList(selection, taken);
    if (Failed(result)) {
        tracer_.Error(TraceEvent::MenuNoDropList, result);
        return result;
    }
    // Memory that a selection gives away twice has one owner all the same, and is freed once.
    const bool isKnown =
        taken.owner == DropOwner{} && std::ranges::find(taken_, taken.list, &TakenDropList::list) != taken_.end();
    if ((taken.list != DropHandle{} || taken.owner != DropOwner{}) && !isKnown) {
        taken_.push_back(taken);
    }
    // A second initialization overwrites the list, and enters the apartment once more although the destructor leaves it
    // once only. That is meant: the apartment may outlive the object, never the other way round.
    dropList_ = taken.list;
    if (dropList_ != DropHandle{}) {
        shell_.EnterApartment();
    }
    return result;
}

std::uint32_t MenuCommand::AddItem(MenuHandle menu, std::uint32_t position, std::uint32_t firstId,
                                   std::uint32_t flags) {
    // The upper half is the shell's own. "Default only" is not looked at: the item never is the default one.
    flags &= 0xFFFF;
    if ((flags & kMenuNoVerbs) != 0) {
        tracer_.Information(TraceEvent::MenuWithoutVerbs, flags);
        return 0;
    }
    if ((flags & kMenuVerbsOnly) != 0 && (flags & kMenuExplore) == 0) {
        tracer_.Information(TraceEvent::MenuVerbsOnly, flags);
        return 0;
    }
    std::u16string text = strings_.Load(kMenuTextId);
    text.resize(std::min(text.size(), kMenuTextCapacity - 1));
    if (text.empty()) {
        tracer_.Error(TraceEvent::MenuNoText);
        return 0;
    }

    // The highest position stands for the end of the menu; counting on would wrap around to its beginning.
    const std::uint32_t itemPosition = position == std::numeric_limits<std::uint32_t>::max() ? position : position + 1;
    SystemError error = shell_.InsertSeparator(menu, position);
    if (Succeeded(error)) {
        error = shell_.InsertItem(menu, itemPosition, firstId, text);
        if (Failed(error)) {
            shell_.RemoveItem(menu, position);
        }
    }
    if (Failed(error)) {
        tracer_.Error(TraceEvent::MenuItemNotInserted, error);
        return 0;
    }
    CopyText(kVerb, verb_, kVerbCapacity, platform_.textRules);
    CopyText(kWideVerb, wideVerb_, kVerbCapacity);
    tracer_.Information(TraceEvent::MenuItemAdded, std::u16string_view(text), std::u16string_view(wideVerb_));
    return 1;
}

bool MenuCommand::IsOurVerb(const InvokeRequest& request) const noexcept {
    // Offsets are not checked at all: the object has one command, and whatever the shell calls it is that one. In the
    // extended form the narrow verb is not looked at.
    if (request.IsExtendedUnicode()) {
        return request.wideVerb <= kHighestOffset ||
               EqualsTerminated(reinterpret_cast<const char16_t*>(request.wideVerb), wideVerb_);
    }
    return request.verb <= kHighestOffset || std::strcmp(reinterpret_cast<const char*>(request.verb), verb_) == 0;
}

HResult MenuCommand::Invoke(const InvokeRequest& request, bool& scans) {
    scans = false;
    // Before a menu was built the stored verbs are empty, so that an invocation by name is refused then.
    if (!IsOurVerb(request)) {
        return HResult::Fail;
    }
    if (OrientationAllowsScan(platform_.registry)) {
        scans = true;
        return HResult::Ok;
    }
    tracer_.Information(TraceEvent::MenuScanRefused);
    const std::u16string caption = strings_.Load(kRefusalCaptionId);
    platform_.desktop.ShowError(strings_.Load(kRefusalTextId), &caption);
    return HResult::Ok;
}

HResult MenuCommand::GetText(std::uint32_t type, void* buffer, std::uint32_t capacity) {
    static_assert(kVerb.size() == kWideVerb.size());
    // A verb that was cut is told to the caller. Without a buffer nothing is cut.
    const HResult verb =
        buffer == nullptr || capacity == 0 || kVerb.size() < capacity ? HResult::Ok : HResult::InvalidArgument;
    switch (type) {
        // The verb is the constant one: the shell may ask for it before it builds the menu.
        case kCommandVerbNarrow:
            CopyText(kVerb, buffer, capacity, platform_.textRules);
            return verb;
        case kCommandVerbWide:
            CopyText(kWideVerb, buffer, capacity);
            return verb;
        case kCommandHelpNarrow:
            CopyText(strings_.LoadNarrow(kHelpTextId), buffer, std::min(capacity, kHelpTextCapacity),
                     platform_.textRules);
            return HResult::Ok;
        case kCommandHelpWide:
            CopyText(strings_.Load(kHelpTextId), buffer, std::min(capacity, kHelpTextCapacity));
            return HResult::Ok;
        default:
            return HResult::Ok;
    }
}

}  // namespace HVR

#include "shellext/MenuCommand.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

#include "shellext/CommandText.h"
#include "shellext/OrientationSetting.h"

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::platform::SystemError;

namespace {

constexpr std::uintptr_t kHighestOffset = 0xFFFF;
constexpr std::size_t kMenuTextCapacity = 260;
constexpr std::size_t kHelpTextCapacity = 512;

bool EqualsTerminated(const char16_t* left, const char16_t* right) noexcept {
    while (*left == *right && *left != u'\0') {
        ++left;
        ++right;
    }
    return *left == *right;
}

}  // namespace

MenuCommand::~MenuCommand() {
    if (dropList_ != DropHandle{}) {
        services_.apartment.Leave();
    }
}

HResult MenuCommand::Initialize(Selection* selection) {
    std::fill(std::begin(verb_), std::end(verb_), '\0');
    std::fill(std::begin(wideVerb_), std::end(wideVerb_), u'\0');
    if (selection == nullptr) {
        services_.tracer.Error(TraceEvent::MenuNoDataObject);
        return HResult::Fail;
    }
    DropHandle taken{};
    const HResult result = selection->TakeDropList(taken);
    if (Failed(result)) {
        services_.tracer.Error(TraceEvent::MenuNoDropList, result);
        return result;
    }
    // A second initialization overwrites the list without freeing it, and enters the apartment once more although the
    // destructor leaves it once only. That is meant: the apartment may outlive the object, never the other way round.
    dropList_ = taken;
    if (dropList_ != DropHandle{}) {
        services_.apartment.Enter();
    }
    return result;
}

std::uint32_t MenuCommand::AddItem(MenuBuilder& menu, std::uint32_t position, std::uint32_t firstId,
                                   std::uint32_t flags) {
    // The upper half is the shell's own. "Default only" is not looked at: the item never is the default one.
    flags &= 0xFFFF;
    if ((flags & kMenuNoVerbs) != 0) {
        services_.tracer.Information(TraceEvent::MenuWithoutVerbs, flags);
        return 0;
    }
    if ((flags & kMenuVerbsOnly) != 0 && (flags & kMenuExplore) == 0) {
        services_.tracer.Information(TraceEvent::MenuVerbsOnly, flags);
        return 0;
    }
    std::u16string text = services_.strings.Load(kMenuTextId);
    text.resize(std::min(text.size(), kMenuTextCapacity - 1));
    if (text.empty()) {
        services_.tracer.Error(TraceEvent::MenuNoText);
        return 0;
    }

    // The highest position stands for the end of the menu; counting on would wrap around to its beginning.
    const std::uint32_t itemPosition = position == std::numeric_limits<std::uint32_t>::max() ? position : position + 1;
    SystemError error = menu.InsertSeparator(position);
    if (Succeeded(error)) {
        error = menu.InsertItem(itemPosition, firstId, text);
        if (Failed(error)) {
            menu.Remove(position);
        }
    }
    if (Failed(error)) {
        services_.tracer.Error(TraceEvent::MenuItemNotInserted, error);
        return 0;
    }
    CopyText(kVerb, verb_, kVerbCapacity, services_.characters);
    CopyText(kWideVerb, wideVerb_, kVerbCapacity);
    services_.tracer.Information(TraceEvent::MenuItemAdded, std::u16string_view(text), std::u16string_view(wideVerb_));
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

HResult MenuCommand::Invoke(const InvokeRequest& request, ScanOperation& scan) {
    // Before a menu was built the stored verbs are empty, so that an invocation by name is refused then.
    if (!IsOurVerb(request)) {
        return HResult::Fail;
    }
    if (OrientationAllowsScan(services_.registry)) {
        return scan.Scan();
    }
    services_.tracer.Information(TraceEvent::MenuScanRefused);
    const std::u16string caption = services_.strings.Load(kRefusalCaptionId);
    services_.boxes.ShowError(services_.strings.Load(kRefusalTextId), &caption);
    return HResult::Ok;
}

HResult MenuCommand::GetText(std::uint32_t type, void* buffer, std::uint32_t capacity) {
    switch (type) {
        // The verb is the constant one: the shell may ask for it before it builds the menu. Without a buffer the copy
        // answers 0, which must not look like a cut when the capacity is 0 too.
        case kCommandVerbNarrow: {
            const std::size_t length = CopyText(kVerb, static_cast<char*>(buffer), capacity, services_.characters);
            return length != 0 && length >= capacity ? HResult::InvalidArgument : HResult::Ok;
        }
        case kCommandVerbWide: {
            const std::size_t length = CopyText(kWideVerb, static_cast<char16_t*>(buffer), capacity);
            return length != 0 && length >= capacity ? HResult::InvalidArgument : HResult::Ok;
        }
        case kCommandHelpNarrow: {
            const std::string text = services_.strings.LoadNarrow(kHelpTextId);
            CopyText(WholeCharacters(text, kHelpTextCapacity - 1, services_.characters), static_cast<char*>(buffer),
                     capacity, services_.characters);
            return HResult::Ok;
        }
        case kCommandHelpWide: {
            const std::u16string text = services_.strings.Load(kHelpTextId);
            CopyText(std::u16string_view(text).substr(0, kHelpTextCapacity - 1), static_cast<char16_t*>(buffer),
                     capacity);
            return HResult::Ok;
        }
        default:
            return HResult::Ok;
    }
}

}  // namespace HVR

#include "tests/fakes/FakeDesktop.h"

#include <algorithm>
#include <new>

namespace tests {

SystemError FakeDesktop::FillInserts(const std::u16string& format, std::span<const std::u16string> inserts,
                                     std::u16string& text) {
    return Call("FillInserts", [&] {
        std::u16string filled;
        const auto isDigit = [&](std::size_t at) {
            return at < format.size() && format[at] >= u'0' && format[at] <= u'9';
        };
        for (std::size_t i = 0; i < format.size(); ++i) {
            if (format[i] != u'%') {
                filled += format[i];
                continue;
            }
            Require(++i < format.size(), SystemError::InvalidParameter);
            if (format[i] == u'0') {
                break;
            }
            if (!isDigit(i)) {
                filled += format[i] == u'n' ? std::u16string(u"\r\n") : std::u16string(1, format[i]);
                continue;
            }
            std::size_t number = format[i] - std::size_t{u'0'};
            if (isDigit(i + 1)) {
                number = number * 10 + (format[++i] - std::size_t{u'0'});
            }
            const bool asText = format.compare(i + 1, 3, u"!s!") == 0;
            const bool isWild = number > inserts.size() || (!asText && format.compare(i + 1, 1, u"!") == 0);
            tally_.misuses += isWild ? 1U : 0U;
            Require(!isWild, SystemError::InvalidParameter);
            filled += inserts[number - 1];
            i += asText ? 3 : 0;
        }
        Require(!filled.empty(), SystemError::InternalError);
        text = std::move(filled);
    });
}

void FakeDesktop::ShowError(const std::u16string& text, const std::u16string* caption) noexcept {
    try {
        Keep(boxes, {text, caption == nullptr ? std::nullopt : std::optional(*caption)});
    } catch (const std::bad_alloc&) {
    }
    if (onBox) {
        onBox();
    }
}

tsLib::HResult FakeSystem::DefaultShellFolder(std::uint32_t csidl, std::u16string& path) {
    const SystemError error =
        Call("DefaultShellFolder", [&] { path = At(defaultFolders, csidl, SystemError::InvalidParameter); });
    const bool isUnknown = Failed(error) && !defaultFolders.contains(csidl);
    return Succeeded(error) ? tsLib::HResult::Ok : isUnknown ? tsLib::HResult::InvalidArgument : tsLib::HResult::Fail;
}

void* FakeSystem::Allocate(std::size_t bytes) noexcept {
    // No system has more; a sanitizer's allocator would stop the program.
    constexpr std::size_t kMost = std::size_t{1} << 36;
    void* block = nullptr;
    static_cast<void>(Call("Allocate", [&] {
        block = bytes > kMost ? nullptr : ::operator new(bytes, std::nothrow);
        try {
            tally_.open += block != nullptr && blocks_.insert(block).second ? 1U : 0U;
        } catch (const std::bad_alloc&) {
            ::operator delete(std::exchange(block, nullptr));
        }
    }));
    return block;
}

void FakeTrace::Write(const TraceRecord& record) noexcept {
    try {
        KeptTrace kept{record.level, static_cast<tsLib::TraceEvent>(record.event), {}, {}};
        for (const TraceArgument& argument : record.arguments) {
            if (const auto* text = std::get_if<std::u16string_view>(&argument)) {
                kept.texts.emplace_back(*text);
            } else {
                const auto* number = std::get_if<std::uint32_t>(&argument);
                kept.numbers.push_back(number != nullptr ? *number : std::get<std::uint64_t>(argument));
            }
        }
        Keep(records, kept);
    } catch (const std::bad_alloc&) {
    }
}

std::size_t FakeTrace::Count(TraceLevel level) const {
    return static_cast<std::size_t>(std::ranges::count(records, level, &KeptTrace::level));
}

std::size_t FakeTrace::Count(tsLib::TraceEvent event) const {
    return static_cast<std::size_t>(std::ranges::count(records, event, &KeptTrace::event));
}

}  // namespace tests

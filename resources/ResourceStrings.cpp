// Strings of the loaded module.
#include <new>
#include <utility>

#include "resources/Inserts.h"
#include "resources/ResourceLoader.h"

namespace HVR {

using tsLib::platform::ModuleHandle;

namespace {

constexpr std::size_t kFirstBufferSize = 512;
constexpr std::size_t kLargestBufferSize = 8192;

}  // namespace

bool CResourceLoader::ReadWhole(std::uint32_t id, std::u16string& out) {
    // Without a module the platform would look into the host program's own strings.
    if (module_ == ModuleHandle{}) {
        return false;
    }
    for (std::size_t size = kFirstBufferSize; size <= kLargestBufferSize; size *= 2) {
        std::u16string buffer(size, u'\0');
        const std::size_t length = seam_.resources.ReadString(module_, id, buffer);
        if (length == 0) {
            return false;
        }
        // A text that fills the buffer may have been cut.
        if (length < size - 1) {
            buffer.resize(length);
            out = std::move(buffer);
            return true;
        }
    }
    return false;
}

bool CResourceLoader::LoadString(std::uint32_t id, std::u16string& out) noexcept {
    bool read = false;
    try {
        read = ReadWhole(id, out);
    } catch (...) {
        read = false;
    }
    if (!read) {
        log_.Sentence(u"CResourceLoader::LoadString failed.");
    }
    return read;
}

bool CResourceLoader::LoadString(std::uint32_t id, std::string& out) noexcept {
    std::u16string wide;
    if (!LoadString(id, wide)) {
        return false;
    }
    try {
        if (Succeeded(seam_.codePage.ToNarrow(wide, out))) {
            return true;
        }
    } catch (...) {
        // Reported below.
    }
    log_.Sentence(u"CResourceLoader::LoadString failed.");
    return false;
}

bool CResourceLoader::FormatString(std::uint32_t id, std::u16string& out,
                                   std::span<const std::u16string> inserts) noexcept {
    std::u16string format;
    if (!LoadString(id, format)) {
        return false;
    }
    try {
        if (AsksOnlyForTexts(format, inserts.size()) && Succeeded(seam_.messages.FillInserts(format, inserts, out))) {
            return true;
        }
    } catch (...) {
        // Reported below.
    }
    log_.Sentence(u"CResourceLoader::FormatString failed.");
    return false;
}

}  // namespace HVR

// Strings of the loaded module.
#include <utility>

#include "resources/Inserts.h"
#include "resources/ResourceLoader.h"
#include "resources/StringTable.h"
#include "tslib/platform/Boundary.h"

namespace HVR {

using tsLib::platform::ModuleHandle;

template <class Body>
bool CResourceLoader::OrLog(std::u16string_view sentence, Body&& body) noexcept {
    if (tsLib::AtBoundary(false, body)) {
        return true;
    }
    log_.Sentence(sentence);
    return false;
}

bool CResourceLoader::LoadString(std::uint32_t id, std::u16string& out) noexcept {
    return OrLog(u"CResourceLoader::LoadString failed.", [&] {
        // Without a module the platform would look into the host program's own strings.
        if (module_ == ModuleHandle{}) {
            return false;
        }
        std::u16string text = ReadWholeString(platform_.modules, module_, id);
        if (text.empty() || text.size() == kLongestString) {
            return false;
        }
        out = std::move(text);
        return true;
    });
}

bool CResourceLoader::LoadString(std::uint32_t id, std::string& out) noexcept {
    std::u16string wide;
    return LoadString(id, wide) && OrLog(u"CResourceLoader::LoadString failed.",
                                         [&] { return Succeeded(platform_.textRules.ToNarrow(wide, out)); });
}

bool CResourceLoader::FormatString(std::uint32_t id, std::u16string& out,
                                   std::span<const std::u16string> inserts) noexcept {
    std::u16string format;
    return LoadString(id, format) && OrLog(u"CResourceLoader::FormatString failed.", [&] {
               return AsksOnlyForTexts(format, inserts.size()) &&
                      Succeeded(platform_.desktop.FillInserts(format, inserts, out));
           });
}

}  // namespace HVR

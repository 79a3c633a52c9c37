// The product's folders by path tokens.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "AgentCore/IProductInstallPathResolver.h"
#include "tslib/IVaneBaseImpl.h"
#include "tslib/Tracer.h"
#include "tslib/platform/ComponentMemory.h"
#include "tslib/platform/KnownFolders.h"
#include "tslib/platform/TextRules.h"
#include "tslib/tsPathExpansion.h"

namespace HVR {

// Keeps nothing between calls. Made by `new`, as every component; what is passed to it must outlive it.
class CProductInstallPathResolver
    : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, IProductInstallPathResolver,
                                  kIProductInstallPathResolverId> {
public:
    struct Seam {
        tsLib::platform::KnownFolders& knownFolders;
        tsLib::platform::TextRules& textRules;
        tsLib::platform::ComponentMemory& memory;
        tsLib::platform::TraceOutput& trace;
    };
    CProductInstallPathResolver(tsLib::tsPathExpansion& expansion, const Seam& seam) noexcept
        : expansion_(expansion), seam_(seam), tracer_(seam.trace) {}

    tsLib::HResult GetPath(std::uint32_t kind, const char* fileName, char16_t** path,
                           std::uint32_t flags) noexcept override;
    tsLib::HResult GetPath(std::uint32_t kind, const char16_t* fileName, char16_t** path,
                           std::uint32_t flags) noexcept override;

private:
    tsLib::HResult Resolve(std::uint32_t kind, std::u16string_view fileName, char16_t** path);
    tsLib::HResult FolderOf(std::uint32_t kind, std::u16string_view fileName, std::u16string& folder);
    tsLib::HResult HandOver(std::u16string_view text, char16_t** path) noexcept;
    tsLib::HResult Traced(std::uint32_t kind, tsLib::HResult result) noexcept;

    tsLib::tsPathExpansion& expansion_;
    Seam seam_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR

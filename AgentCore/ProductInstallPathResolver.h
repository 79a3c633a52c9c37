// The product's folders by path tokens.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "AgentCore/IProductInstallPathResolver.h"
#include "tslib/IVaneBaseImpl.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/System.h"
#include "tslib/platform/TextRules.h"
#include "tslib/tsPathExpansion.h"

namespace HVR {

// The token that the folders of a kind come from; empty for a kind that there is none of. For diagnosis.
[[nodiscard]] std::u16string_view FolderToken(std::uint32_t kind) noexcept;

// Keeps nothing between calls. Made by `new`, as every component; what is passed to it must outlive it.
class CProductInstallPathResolver
    : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, IProductInstallPathResolver,
                                  kIProductInstallPathResolverId> {
public:
    CProductInstallPathResolver(const tsLib::platform::Platform& platform, tsLib::tsPathExpansion& expansion) noexcept
        : platform_(platform), expansion_(expansion), tracer_(platform.trace) {}

    tsLib::HResult GetPath(std::uint32_t kind, const char* fileName, char16_t** path,
                           std::uint32_t flags) noexcept override;
    tsLib::HResult GetPath(std::uint32_t kind, const char16_t* fileName, char16_t** path,
                           std::uint32_t flags) noexcept override;

private:
    template <class Body>
    tsLib::HResult AtBoundary(std::uint32_t kind, Body&& body) noexcept;
    tsLib::HResult Resolve(std::uint32_t kind, std::u16string_view fileName, char16_t** path);
    tsLib::HResult HandOver(std::u16string_view text, char16_t** path) noexcept;
    tsLib::HResult Traced(std::uint32_t kind, tsLib::HResult result) noexcept;

    const tsLib::platform::Platform& platform_;
    tsLib::tsPathExpansion& expansion_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR

// Loading what the last search found, without a search and a verdict.
#include "resources/KnownModule.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "resources/ResourceLoader.h"
#include "resources/ResourcePaths.h"
#include "tslib/platform/Boundary.h"

namespace HVR {

using tsLib::platform::ModuleHandle;
using tsLib::platform::OwnedResources;
using tsLib::platform::Stamp;

namespace {

// The modules have some ten kilobytes.
constexpr std::size_t kMostBytes = 0x100000;

}  // namespace

std::optional<SearchBasis> CResourceLoader::BasisOf(const std::u16string& installDir) {
    SearchBasis basis{installDir, GetLanguageId(), verifiers_.AsksForRevocation(), {}};
    if (Failed(platform_.files.StampOf(ResourceRoot(installDir), basis.folder))) {
        return std::nullopt;
    }
    return basis;
}

bool CResourceLoader::LoadKnown(const SearchBasis& basis) {
    Stamp stamp;
    if (!known_ || known_->basis != basis || Failed(platform_.files.StampOf(known_->path, stamp)) ||
        stamp != known_->stamp) {
        return false;
    }
    OwnedResources mapped(platform_.modules);
    if (Failed(Suspended([&] { return platform_.modules.MapResources(known_->name, mapped.Receive()); })) ||
        !std::ranges::equal(platform_.modules.View(mapped.Get()), known_->bytes)) {
        return false;
    }
    path_ = known_->path;
    loadedLanguage_ = known_->language;
    module_ = mapped.Release();
    LogLoaded(path_);
    return true;
}

void CResourceLoader::Observe(const tsLib::VerifiedLoad& file, ModuleHandle module) noexcept {
    const bool isWhole = tsLib::AtBoundary(false, [&] {
        Stamp stamp;
        const std::span<const std::byte> bytes = platform_.modules.View(module);
        if (Failed(platform_.files.StampOf(file.Name(), stamp)) || stamp.lastWrite == 0 || stamp.change == 0 ||
            bytes.empty() || bytes.size() > kMostBytes) {
            return false;
        }
        KnownModule& seen = observed_.emplace();
        seen.name = file.Name();
        seen.stamp = stamp;
        seen.bytes.assign(bytes.begin(), bytes.end());
        return true;
    });
    if (!isWhole) {
        observed_.reset();
    }
}

void CResourceLoader::Remember(const SearchBasis& basis) noexcept {
    tsLib::AtBoundary(false, [&] {
        // Where something was looked for in vain, or could not be loaded, it may be there next time.
        if (!observed_ || hasMissed_ || !IsLasting(basis)) {
            return false;
        }
        observed_->basis = basis;
        observed_->path = path_;
        observed_->language = loadedLanguage_;
        known_ = std::move(observed_);
        return true;
    });
}

// Whether a new language would show in the folder's times: not on volumes that do not keep them, and not within one
// step of the clock.
bool CResourceLoader::IsLasting(const SearchBasis& basis) {
    constexpr std::array<std::u16string_view, 2> kFileSystems{u"NTFS", u"ReFS"};
    constexpr std::uint64_t kTimeStep = 20'000'000;
    tsLib::platform::Volume volume;
    std::uint64_t now = 0;
    return Succeeded(platform_.files.VolumeOf(basis.installDir, volume)) && volume.isFixed &&
           std::ranges::find(kFileSystems, volume.fileSystem) != kFileSystems.end() &&
           Succeeded(platform_.system.FileTimeNow(now)) && now > basis.folder.lastWrite &&
           now - basis.folder.lastWrite > kTimeStep;
}

}  // namespace HVR

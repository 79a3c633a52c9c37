#include "tslib/verifytrust/CatalogIterator.h"

#include <utility>

#include "tslib/Tracer.h"

namespace tsLib {

using platform::CatalogHandle;
using platform::SystemError;

CatalogIterator::CurrentCatalog::~CurrentCatalog() {
    if (handle_ != CatalogHandle{}) {
        catalogs_.ReleaseCatalog(context_, handle_);
    }
}

SystemError CatalogIterator::CurrentCatalog::GoOn(std::span<const std::byte> hash) {
    return catalogs_.NextCatalog(context_, hash, std::exchange(handle_, CatalogHandle{}), handle_);
}

CatalogIterator::CatalogIterator(const platform::Platform& platform, const CatalogContext& context,
                                 const CatalogFileHash& hash)
    : current_(platform.catalogs, context.Handle()) {
    const Tracer tracer(platform.trace);
    for (;;) {
        if (const SystemError error = current_.GoOn(hash.Bytes()); Failed(error)) {
            if (error != SystemError::NotFound) {
                tracer.Error(TraceEvent::CatalogSearchFailed, error);
            }
            return;
        }
        std::u16string path;
        if (const SystemError error = platform.catalogs.CatalogPath(current_.Get(), path); Failed(error)) {
            tracer.Error(TraceEvent::CatalogPathUnread, error);
            return;
        }
        paths_.push_back(std::move(path));
    }
}

namespace {

bool FindOutSha256(const platform::Platform& platform, const platform::HeldFile& file) {
    if (platform.system.IsAtLeast(6, 2)) {
        return true;
    }
    const CatalogContext context(platform, true);
    if (!context.Acquired()) {
        return context.Sha256();
    }
    const CatalogFileHash hash(platform, context, file, true);
    return !hash.Successful() || !CatalogIterator(platform, context, hash).AtEnd();
}

}  // namespace

bool ChooseSha256(const platform::Platform& platform, platform::TrustAnswer embeddedAnswer,
                  const platform::HeldFile& file) {
    const bool sha256 = FindOutSha256(platform, file);
    Tracer(platform.trace).Verbose(TraceEvent::CatalogAlgorithmChosen, sha256, embeddedAnswer);
    return sha256;
}

}  // namespace tsLib

#include "tslib/verifytrust/CatalogIterator.h"

#include <utility>

namespace tsLib {

using platform::CatalogHandle;
using platform::SystemError;

CatalogIterator::CurrentCatalog::~CurrentCatalog() {
    if (handle_ != CatalogHandle{}) {
        admin_.ReleaseCatalog(context_, handle_);
    }
}

SystemError CatalogIterator::CurrentCatalog::GoOn(std::span<const std::byte> hash) {
    return admin_.NextCatalog(context_, hash, std::exchange(handle_, CatalogHandle{}), handle_);
}

CatalogIterator::CatalogIterator(platform::CatalogAdmin& admin, const Tracer& tracer, const CatalogContext& context,
                                 const CatalogFileHash& hash)
    : current_(admin, context.Handle()) {
    if (!context.Acquired() || !hash.Successful()) {
        return;
    }
    for (;;) {
        if (const SystemError error = current_.GoOn(hash.Bytes()); Failed(error)) {
            if (error != SystemError::NotFound) {
                tracer.Error(TraceEvent::CatalogSearchFailed, error);
            }
            return;
        }
        std::u16string path;
        if (const SystemError error = admin.CatalogPath(current_.Get(), path); Failed(error)) {
            tracer.Error(TraceEvent::CatalogPathUnread, error);
            return;
        }
        paths_.push_back(std::move(path));
    }
}

namespace {

bool FindOutSha256(const CatalogServices& services, const std::u16string& path) {
    if (services.systemInfo.IsAtLeast(6, 2)) {
        return true;
    }
    const CatalogContext context(services.admin, services.tracer, true);
    if (!context.Acquired()) {
        return context.Sha256();
    }
    const CatalogFileHash hash(services.files, services.hasher, services.tracer, context.Handle(), path, true);
    return !hash.Successful() || !CatalogIterator(services.admin, services.tracer, context, hash).AtEnd();
}

}  // namespace

bool ChooseSha256(const CatalogServices& services, platform::TrustAnswer embeddedAnswer, const std::u16string& path) {
    const bool sha256 = FindOutSha256(services, path);
    services.tracer.Verbose(TraceEvent::CatalogAlgorithmChosen, sha256, embeddedAnswer);
    return sha256;
}

}  // namespace tsLib

#include "tslib/verifytrust/CatalogContext.h"

#include "tslib/Tracer.h"

namespace tsLib {

CatalogContext::CatalogContext(const platform::Platform& platform, bool sha256)
    : context_(platform.catalogs), sha256_(sha256) {
    const Tracer tracer(platform.trace);
    if (sha256 && !platform.catalogs.HasSha256Context()) {
        sha256_ = false;
        tracer.Warning(TraceEvent::CatalogNoSha256);
        return;
    }
    const auto error = sha256 ? platform.catalogs.AcquireSha256Context(context_.Receive())
                              : platform.catalogs.AcquireContext(context_.Receive());
    if (Failed(error)) {
        tracer.Error(TraceEvent::CatalogContextRefused, error, sha256);
    }
}

}  // namespace tsLib

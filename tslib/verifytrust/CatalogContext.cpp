#include "tslib/verifytrust/CatalogContext.h"

namespace tsLib {

CatalogContext::CatalogContext(platform::CatalogAdmin& admin, const Tracer& tracer, bool sha256)
    : context_(admin), sha256_(sha256) {
    if (sha256 && !admin.HasSha256Context()) {
        sha256_ = false;
        tracer.Warning(TraceEvent::CatalogNoSha256);
        return;
    }
    const auto error =
        sha256 ? admin.AcquireSha256Context(context_.Receive()) : admin.AcquireContext(context_.Receive());
    if (Failed(error)) {
        tracer.Error(TraceEvent::CatalogContextRefused, error, sha256);
    }
}

}  // namespace tsLib

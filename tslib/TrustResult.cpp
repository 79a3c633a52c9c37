#include "tslib/TrustResult.h"

namespace tsLib {

std::string_view Name(TrustResult verdict) noexcept {
    switch (verdict) {
        case TrustResult::Trusted:
            return "trusted";
        case TrustResult::FileError:
            return "file error";
        case TrustResult::NotTrusted:
            return "not trusted";
        case TrustResult::CannotDetermine:
            return "cannot determine";
        case TrustResult::InvalidArgument:
            return "invalid argument";
        case TrustResult::OutOfMemory:
            return "out of memory";
        case TrustResult::RevocationFailed:
            return "revocation failed";
        case TrustResult::TimeStampInvalid:
            return "time stamp invalid";
    }
    return "unknown";
}

}  // namespace tsLib

#include "tslib/verifytrust/CatalogFileHash.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "tslib/Tracer.h"
#include "tslib/platform/Digits.h"

namespace tsLib {

CatalogFileHash::CatalogFileHash(const platform::Platform& platform, const CatalogContext& context,
                                 const platform::HeldFile& file, bool sha256) {
    const Tracer tracer(platform.trace);
    const bool useSha256 = sha256 && platform.catalogs.HasSha256Hash();
    const auto hash = [&](std::span<std::byte> buffer, std::uint32_t& size) {
        return useSha256 ? platform.catalogs.Sha256Hash(context.Handle(), file.Handle(), buffer, size)
                         : platform.catalogs.Hash(file.Handle(), buffer, size);
    };
    std::uint32_t size = 0;
    error_ = hash({}, size);
    if (size != 0) {
        bytes_.resize(size);
        error_ = hash(bytes_, size);
        // The second call may tell a smaller size than the first.
        bytes_.resize(Succeeded(error_) ? std::min<std::size_t>(size, bytes_.size()) : 0);
    }
    if (Successful()) {
        for (const std::byte byte : bytes_) {
            AppendHex<2>(tag_, std::to_integer<std::uint8_t>(byte));
        }
    }
    tracer.Information(TraceEvent::CatalogHashMade, std::u16string_view(Successful() ? u"TRUE" : u"FALSE"),
                       bytes_.size(), error_);
}

}  // namespace tsLib

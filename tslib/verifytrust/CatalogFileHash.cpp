#include "tslib/verifytrust/CatalogFileHash.h"

#include <algorithm>
#include <string_view>

namespace tsLib {

using platform::SystemError;

namespace {

std::u16string HexText(std::span<const std::byte> bytes) {
    constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    std::u16string text;
    text.reserve(bytes.size() * 2);
    for (const std::byte byte : bytes) {
        text += kDigits[std::to_integer<unsigned>(byte >> 4)];
        text += kDigits[std::to_integer<unsigned>(byte & std::byte{0x0F})];
    }
    return text;
}

}  // namespace

CatalogFileHash::CatalogFileHash(platform::Files& files, platform::CatalogHasher& hasher, const Tracer& tracer,
                                 platform::CatalogContextHandle context, const std::u16string& path, bool sha256) {
    if (path.empty()) {
        return;
    }
    platform::OwnedFile file(files);
    error_ = files.OpenForReading(path, file.Receive());
    if (Failed(error_)) {
        tracer.Warning(TraceEvent::CatalogFileUnopened, error_, path);
        return;
    }
    error_ = Compute(hasher, context, file.Get(), sha256);
    if (successful_) {
        tag_ = HexText(bytes_);
        path_ = path;
    } else {
        bytes_.clear();
    }
    tracer.Information(TraceEvent::CatalogHashMade, std::u16string_view(successful_ ? u"TRUE" : u"FALSE"),
                       bytes_.size(), error_);
}

SystemError CatalogFileHash::Compute(platform::CatalogHasher& hasher, platform::CatalogContextHandle context,
                                     platform::FileHandle file, bool sha256) {
    const bool useSha256 = hasher.HasSha256Hash() && context != platform::CatalogContextHandle{} && sha256;
    const auto hash = [&](std::span<std::byte> buffer, std::uint32_t& size) {
        return useSha256 ? hasher.Sha256Hash(context, file, buffer, size) : hasher.Hash(file, buffer, size);
    };
    std::uint32_t size = 0;
    SystemError error = hash({}, size);
    if (size == 0) {
        return error;
    }
    bytes_.resize(size);
    error = hash(bytes_, size);
    bytes_.resize(std::min<std::size_t>(size, bytes_.size()));
    successful_ = Succeeded(error) && !bytes_.empty();
    return error;
}

}  // namespace tsLib

#include "tests/fakes/FakeCatalogHasher.h"

#include <algorithm>

namespace tests {

using namespace tsLib::platform;

SystemError FakeCatalogHasher::Answer(const Hashes& scripted, std::size_t length, FileHandle file,
                                      std::span<std::byte> buffer, std::uint32_t& size) {
    size = 0;
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if (file == FileHandle{}) {
        return SystemError::InvalidParameter;
    }
    const std::u16string path = files_.PathOf(file);
    if (path.empty()) {
        ++misuses_;
        return SystemError::InvalidHandle;
    }
    if (buffer.empty() && Failed(sizeError)) {
        return sizeError;
    }
    const auto found = scripted.find(path);
    const std::vector<std::byte> hash =
        found != scripted.end() ? found->second : MadeUpHash(files_.BytesOf(file), length);
    size = static_cast<std::uint32_t>(hash.size());
    if (buffer.empty()) {
        return SystemError::Success;
    }
    if (Failed(fillError) || buffer.size() < hash.size()) {
        size = 0;
        return Failed(fillError) ? fillError : SystemError::InsufficientBuffer;
    }
    std::ranges::copy(hash, buffer.begin());
    return SystemError::Success;
}

SystemError FakeCatalogHasher::Hash(FileHandle file, std::span<std::byte> buffer, std::uint32_t& size) {
    const std::lock_guard lock(mutex_);
    ++sha1Calls;
    return Answer(sha1, 20, file, buffer, size);
}

SystemError FakeCatalogHasher::Sha256Hash(CatalogContextHandle context, FileHandle file, std::span<std::byte> buffer,
                                          std::uint32_t& size) {
    const std::lock_guard lock(mutex_);
    ++sha256Calls;
    if (!hasSha256) {
        size = 0;
        return SystemError::ProcedureNotFound;
    }
    if (!admin_.IsOpen(context)) {
        misuses_ += context == CatalogContextHandle{} ? 0U : 1U;
        size = 0;
        return SystemError::InvalidParameter;
    }
    return Answer(sha256, 32, file, buffer, size);
}

std::vector<std::byte> MadeUpHash(std::span<const std::byte> bytes, std::size_t length) {
    std::vector<std::byte> hash(length);
    for (std::size_t i = 0; i < length; ++i) {
        std::uint32_t mixed = 2166136261U + static_cast<std::uint32_t>(i) * 16777619U;
        for (const std::byte byte : bytes) {
            mixed = (mixed ^ static_cast<std::uint32_t>(byte)) * 16777619U;
        }
        hash[i] = static_cast<std::byte>(mixed >> 16 & 0xFFU);
    }
    return hash;
}

}  // namespace tests

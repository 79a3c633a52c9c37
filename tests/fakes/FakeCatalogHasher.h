// Catalog hashes of the files in memory. A file without a scripted hash gets one made from its bytes.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tests/fakes/FakeCatalogAdmin.h"
#include "tests/fakes/FakeFiles.h"

namespace tests {

// Change the public state only when no other thread is in a call.
class FakeCatalogHasher final : public tsLib::platform::CatalogHasher, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Hashes = std::map<std::u16string, std::vector<std::byte>>;

    FakeCatalogHasher(FakeFiles& files, FakeCatalogAdmin& admin) : files_(files), admin_(admin) {}

    [[nodiscard]] bool HasSha256Hash() const noexcept override { return hasSha256; }
    SystemError Hash(tsLib::platform::FileHandle file, std::span<std::byte> buffer, std::uint32_t& size) override;
    SystemError Sha256Hash(tsLib::platform::CatalogContextHandle context, tsLib::platform::FileHandle file,
                           std::span<std::byte> buffer, std::uint32_t& size) override;

    [[nodiscard]] std::size_t Misuses() const { return misuses_; }

    bool hasSha256 = true;
    Hashes sha1;  // by the path that the file was opened with; an empty hash makes the platform tell the size 0
    Hashes sha256;
    SystemError sizeError = SystemError::Success;  // answer of the calls that ask for the size
    SystemError fillError = SystemError::Success;  // answer of the calls that fill the buffer
    std::size_t sha1Calls = 0;
    std::size_t sha256Calls = 0;

private:
    SystemError Answer(const Hashes& scripted, std::size_t length, tsLib::platform::FileHandle file,
                       std::span<std::byte> buffer, std::uint32_t& size);

    FakeFiles& files_;
    FakeCatalogAdmin& admin_;
    std::mutex mutex_;
    std::size_t misuses_ = 0;
};

// A stand-in for a digest: `length` bytes that differ when the input does.
[[nodiscard]] std::vector<std::byte> MadeUpHash(std::span<const std::byte> bytes, std::size_t length);

}  // namespace tests

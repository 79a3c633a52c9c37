// The hash and reputation provider, which keeps a word of findings for each file it has seen.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "tslib/platform/Files.h"
#include "tslib/platform/SystemError.h"

namespace tsLib {

// Who asks, when a record is opened.
inline constexpr std::u16string_view kHashProviderName = u"tsHashProvider";
// The value that holds a file's findings: TrustFlags, valid for the file's present content.
inline constexpr std::u16string_view kVerifyTrustResultValue = u"vtresult";

enum class HashResultMode : std::uint32_t { Mode1 = 1, Mode2 = 2 };

// Outputs are untouched on failure. NotFound when the provider knows nothing of the file or the value. Any exception
// that an operation throws is taken as the failure of the verification in progress.
class HashResult {
public:
    virtual ~HashResult() = default;
    virtual platform::SystemError ReadNumber(std::u16string_view name, std::uint32_t& value) = 0;
};

class HashRecord {
public:
    virtual ~HashRecord() = default;
    // On success `result` is set; it is used while the record lives.
    virtual platform::SystemError OpenResult(HashResultMode mode, std::unique_ptr<HashResult>& result) = 0;
};

// Any thread.
class HashProvider {
public:
    virtual ~HashProvider() = default;
    // The record of an open file. The handle stays the caller's and is open while the record lives.
    virtual platform::SystemError OpenRecord(platform::FileHandle file, std::u16string_view client,
                                             std::unique_ptr<HashRecord>& record) = 0;
};

class HashProviders {
public:
    // A provider for one verifier; null when none can be had now, and the next verification asks again. Any thread.
    [[nodiscard]] virtual std::unique_ptr<HashProvider> Create() = 0;

protected:
    ~HashProviders() = default;
};

// A provider that knows no file.
class NullHashProvider final : public HashProvider {
public:
    platform::SystemError OpenRecord(platform::FileHandle, std::u16string_view, std::unique_ptr<HashRecord>&) override {
        return platform::SystemError::NotFound;
    }
};

class NullHashProviders final : public HashProviders {
public:
    [[nodiscard]] std::unique_ptr<HashProvider> Create() override { return std::make_unique<NullHashProvider>(); }
};

}  // namespace tsLib

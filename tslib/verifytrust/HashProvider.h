// The hash and reputation provider, which keeps a word of findings for each file it has seen.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "tslib/platform/HeldFile.h"
#include "tslib/platform/SystemError.h"

namespace tsLib {

// Who asks, when a record is opened.
inline constexpr std::u16string_view kHashProviderName = u"tsHashProvider";
// The value that holds a file's findings: TrustFlags, valid for the file's present content.
inline constexpr std::u16string_view kVerifyTrustResultValue = u"vtresult";

enum class HashResultMode : std::uint32_t { Mode1 = 1, Mode2 = 2 };

// How a file is verified. Findings of one kind say nothing about another one.
struct CheckKind {
    bool driverMode = false;
    std::int32_t revocationMode = 0;

    bool operator==(const CheckKind&) const = default;
};

// Outputs are untouched on failure. NotFound when the provider knows nothing of the file or the value. Whatever an
// operation throws means that the provider is of no use for the verification in progress, which is then made in full.
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
    // The record of a file, which is held while the record lives.
    virtual platform::SystemError OpenRecord(const platform::HeldFile& file, CheckKind kind, std::u16string_view client,
                                             std::unique_ptr<HashRecord>& record) = 0;
    // Told of the findings of each full check that trusted the file by its own signature, while it is still held.
    virtual void Keep(const platform::HeldFile& file, CheckKind kind, std::uint32_t findings) = 0;
};

class HashProviders {
public:
    // A provider for one verifier; null when none can be had now, and the next verification asks again. Any thread.
    [[nodiscard]] virtual std::unique_ptr<HashProvider> Create() = 0;

protected:
    ~HashProviders() = default;
};

}  // namespace tsLib

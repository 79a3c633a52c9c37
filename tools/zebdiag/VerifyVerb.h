// zebdiag verify.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tools/zebdiag/Verb.h"
#include "tslib/Guid.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/TrustVerifierFactory.h"

namespace HVR::zebdiag {

// Finds what the verifier is to be asked about. The paths are for the report alone: the verdict is the verifier's,
// which finds the file by itself.
class VerifyTargets {
public:
    virtual std::optional<std::u16string> ProcessPath(std::uint32_t processId) = 0;
    virtual std::optional<tsLib::platform::ModuleHandle> LoadedModule(const std::u16string& name) = 0;
    virtual std::optional<std::u16string> ModulePath(tsLib::platform::ModuleHandle module) = 0;
    virtual std::optional<std::u16string> ComServerPath(const tsLib::Guid& classId) = 0;

protected:
    ~VerifyTargets() = default;
};

[[nodiscard]] Verb MakeVerifyVerb(tsLib::TrustVerifierFactory& verifiers, VerifyTargets& targets);

}  // namespace HVR::zebdiag

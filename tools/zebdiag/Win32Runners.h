// What the verbs need of Windows.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "composition/ProductRuntime.h"
#include "tools/zebdiag/Console.h"
#include "tools/zebdiag/ObjectVerbs.h"
#include "tools/zebdiag/ScanVerb.h"
#include "tools/zebdiag/VerifyVerb.h"

namespace HVR::zebdiag {

// Standard output and error: as UTF-16 to a console window, as UTF-8 lines ending in LF to anything else.
class Win32Console final : public Console {
public:
    void Out(std::string_view line) override;
    void Err(std::string_view line) override;
};

class Win32VerifyTargets final : public VerifyTargets {
public:
    explicit Win32VerifyTargets(ProductRuntime& runtime) noexcept : runtime_(runtime) {}
    std::optional<std::u16string> ProcessPath(std::uint32_t processId) override;
    std::optional<tsLib::platform::ModuleHandle> LoadedModule(const std::u16string& name) override;
    std::optional<std::u16string> ModulePath(tsLib::platform::ModuleHandle module) override;
    std::optional<std::u16string> ComServerPath(const tsLib::Guid& classId) override;

private:
    ProductRuntime& runtime_;
};

// The path as the shell would list it: full, without . and .. elements.
[[nodiscard]] std::u16string Win32FullPath(const std::u16string& path);

// Runs the scan request on a drop list of the paths.
[[nodiscard]] ScanOutcome Win32Scan(ProductRuntime& runtime, const std::vector<std::u16string>& paths,
                                    std::optional<std::uint32_t> waitSeconds);

// The objects of the program itself, those at fixed places, and those of the installation's object repository.
[[nodiscard]] bool Win32Objects(ProductRuntime& runtime, std::vector<KnownObject>& objects);

}  // namespace HVR::zebdiag

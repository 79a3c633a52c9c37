// Where the product's scanner is installed.
#pragma once

#include <string>

#include "AgentCore/IProductInstallPathResolver.h"
#include "tslib/Tracer.h"
#include "tslib/platform/ComponentMemory.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/Registry.h"

namespace HVR {

inline constexpr char16_t kScannerFileName[] = u"ScanAgent.exe";

// Where install path resolvers come from.
class ProductInstallPathResolverFactory {
public:
    // On success a resolver with one reference that the caller releases.
    virtual tsLib::HResult Create(IProductInstallPathResolver*& resolver) noexcept = 0;

protected:
    ~ProductInstallPathResolverFactory() = default;
};

// Keeps no state between calls. The interfaces must outlive it; `memory` is what the resolver's texts are freed with.
class ScannerLocation {
public:
    ScannerLocation(ProductInstallPathResolverFactory& resolvers, tsLib::platform::ComponentMemory& memory,
                    tsLib::platform::RegistryReader& registry, tsLib::Tracer tracer) noexcept
        : resolvers_(resolvers), memory_(memory), registry_(registry), tracer_(tracer) {}

    // The scanner's full path, from a new resolver, or else from the installed-applications key. When neither knows
    // it, the resolver's failure, and `scanner` is untouched. May throw std::bad_alloc and nothing else. Any thread.
    tsLib::HResult FindScanner(std::u16string& scanner);

private:
    tsLib::HResult AskResolver(std::u16string& scanner);
    tsLib::HResult ReadInstalledApps(std::u16string& scanner);

    ProductInstallPathResolverFactory& resolvers_;
    tsLib::platform::ComponentMemory& memory_;
    tsLib::platform::RegistryReader& registry_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR

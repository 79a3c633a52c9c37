// What the contract suites of the components' seam run over: the fakes on the host, the Win32 classes on Windows.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tslib/platform/ModuleLoader.h"
#include "tslib/platform/ProtectionCounter.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/RegistryEnumeration.h"
#include "tslib/platform/RegistryRemoval.h"

namespace tests {

struct ComponentSeam {
    tsLib::platform::Registry& registry;  // enumeration and removal are of the same registry
    tsLib::platform::RegistryEnumeration& enumeration;
    tsLib::platform::RegistryRemoval& removal;
    tsLib::platform::ProtectionCounter& counter;
    tsLib::platform::ModuleLoader& loader;
    tsLib::platform::ModuleAddresses& addresses;
};

class ComponentContractPlatform {
public:
    // The objects live as long as the process.
    [[nodiscard]] virtual ComponentSeam Interfaces() = 0;
    // Before every test no scratch key exists, in either view, and nothing is suspended.
    virtual void SetUp() = 0;
    virtual void TearDown() = 0;
    // A path below HKEY_LOCAL_MACHINE\Software, without a trailing backslash.
    [[nodiscard]] virtual std::u16string ScratchKey() = 0;
    // The path of a module that exports "GetFactory" and is not loaded, and whether it is.
    [[nodiscard]] virtual std::u16string Module() = 0;
    [[nodiscard]] virtual bool IsModuleLoaded() = 0;
    // A file that is no module.
    [[nodiscard]] virtual std::u16string NoModule() = 0;

protected:
    ~ComponentContractPlatform() = default;
};

// The one of this executable.
[[nodiscard]] ComponentContractPlatform& ComponentContract();

class ComponentContractTest : public ::testing::Test {
protected:
    ComponentContractTest() { contract.SetUp(); }
    void TearDown() override { contract.TearDown(); }

    ComponentContractPlatform& contract = ComponentContract();
    ComponentSeam seam = ComponentContract().Interfaces();
};

}  // namespace tests

// The host side of the components' contract suites.
#include "tests/contract/ComponentContractPlatform.h"
#include "tests/fakes/FakeModuleAddresses.h"
#include "tests/fakes/FakeModuleLoader.h"
#include "tests/fakes/FakeProtectionCounter.h"
#include "tests/fakes/FakeRegistry.h"

namespace tests {

namespace {

using namespace tsLib::platform;

class FakeComponentContractPlatform final : public ComponentContractPlatform {
public:
    FakeComponentContractPlatform() {
        module_ = loader_.PutModule(u"C:\\component.dll", {{"GetFactory", reinterpret_cast<EntryPoint>(&Exported)}});
    }
    ComponentSeam Interfaces() override { return {registry_, registry_, registry_, counter_, loader_, addresses_}; }
    void SetUp() override {
        for (const std::uint32_t view : {0U, kKeyView32}) {
            registry_.RemoveKey(RegistryRoot::LocalMachine, ScratchKey(), view);
        }
        counter_.count = 0;
    }
    void TearDown() override {
        EXPECT_EQ(registry_.OpenHandles() + registry_.Misuses() + loader_.OpenHandles() + loader_.Misuses(), 0U);
    }
    std::u16string ScratchKey() override { return u"Software\\Corvane\\ComponentContract"; }
    std::u16string Module() override { return u"C:\\component.dll"; }
    bool IsModuleLoaded() override { return loader_.References(module_) != 0; }
    std::u16string NoModule() override { return u"C:\\none.txt"; }

private:
    static void Exported() {}

    FakeRegistry registry_;
    FakeProtectionCounter counter_;
    FakeModuleLoader loader_;
    FakeModuleAddresses addresses_;
    ModuleHandle module_{};
};

}  // namespace

ComponentContractPlatform& ComponentContract() {
    static FakeComponentContractPlatform platform;
    return platform;
}

}  // namespace tests

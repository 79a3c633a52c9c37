// An installation with component modules: the verifier, the settings store, and one sample component.
#pragma once

#include "companions/settingsstore/SettingsStore.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tests/tslib/PathWorld.h"
#include "tslib/ComponentModule.h"
#include "tslib/tsInstanceFactory.h"
#include "tslib/tsVaneInstanceFactoryImpl.h"
#include "tslib/tsVaneModuleFactory.h"
#include "tslib/tsVaneObjectRepository.h"
#include "tslib/tsVaneSettingsStoreLoader.h"

namespace tests {

inline constexpr ObjectId kSampleId{0x1111, 1, 2, {3}}, kOwnId{0x2222, 1, 2, {3}}, kOtherId{0x3333, 1, 2, {3}};
inline constexpr InterfaceId kISampleId{0xABCDEF00, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}};

class ISample : public IVaneBase {
protected:
    ~ISample() = default;
};
struct CSample : IVaneBaseImpl<CVaneThreadSafeRefCount, ISample, kISampleId> {};

// The exports of a module: functions without an argument for whose they are, so one type for each module.
template <int number>
struct ModuleExports {
    static inline ComponentModule* module = nullptr;
    static Exports Both(ComponentModule& of) {
        module = &of;
        const GetFactoryFunction getFactory = [](auto& id, auto** to) { return module->GetFactory(id, to); };
        const GetObjectCountFunction getCount = [] { return module->GetObjectCount(); };
        return {{"GetFactory", reinterpret_cast<EntryPoint>(getFactory)},
                {"GetObjectCount", reinterpret_cast<EntryPoint>(getCount)}};
    }
};

// Has an object made and releases it; a failure must leave null.
VaneResult Created(auto& source, const ObjectId& id, const InterfaceId& interfaceId = kISampleId) {
    void* made = &source;
    const VaneResult result = source.CreateInstance(id, interfaceId, &made);
    EXPECT_EQ(made != nullptr, Succeeded(result));
    VaneRef<ISample>(static_cast<ISample*>(made)).Reset();
    return result;
}

struct ComponentWorld : PathWorld {
    inline static const std::u16string kObjects = kHive + u"\\" + kSilo + u"\\OBJID";
    inline static const std::u16string kSettings = kHive + u"\\" + kSilo + u"\\Settings\\Tessel\\OBJID";
    inline static const std::u16string kVerifierPath = u"D:\\Root\\tsVrTrst.dll";
    inline static const std::u16string kStorePath = u"D:\\Root\\tsSet.dll";
    inline static const std::u16string kSamplePath = u"D:\\Root\\sample.dll";

    ComponentWorld() {
        PutToken(u"tsrootx64", u"D:\\Root");
        disk.PutModule(kVerifierPath, ModuleExports<0>::Both(verifierObjects));
        storeModule = disk.PutModule(kStorePath, ModuleExports<1>::Both(storeObjects));
        sampleModule = disk.PutModule(kSamplePath, ModuleExports<2>::Both(sampleObjects));
        components.Install(&factory);
    }
    ~ComponentWorld() {
        EXPECT_EQ(ownObjects.GetObjectCount() + sampleObjects.GetObjectCount() + storeObjects.GetObjectCount(), 0u);
    }
    void PutObject(const ObjectId& id, std::u16string_view path, const std::u16string& list = kObjects) {
        registry.PutText(kMachine, list + u"\\" + ToText(id), u"InProc64", path, kKeyView32);
    }
    void PutSetting(const ObjectId& id, std::u16string_view path) { PutObject(id, path, kSettings); }
    [[nodiscard]] std::size_t SampleReferences() const { return modules.References(sampleModule); }
    VaneResult Create(const ObjectId& id = kSampleId) { return Created(components, id); }

    FakeTrustVerifiers verifiers;
    ComponentModule verifierObjects{{{kTrustVerifierObjectId, [this](auto&) { return verifiers.Create(); }}}};
    ComponentModule storeObjects{{{kSettingsStoreObjectId, [this](auto& count) {
                                       return MakeCounted<HVR::CSettingsStore>(count, *this, isolation, count);
                                   }}}};
    ComponentModule sampleObjects{{{kSampleId, &MakeCounted<CSample>}, {kOtherId, &MakeCounted<CSample>}}};
    ComponentModule ownObjects{{{kOwnId, &MakeCounted<CSample>}}};
    ModuleHandle storeModule{};
    ModuleHandle sampleModule{};

    tsVaneSettingsStoreLoader store{*this, expansion};
    tsVaneObjectRepository repository{*this, isolation, expansion, store};
    tsInstanceFactory cache{*this, verifiers};
    tsVaneInstanceFactoryImpl factory{*this, &ownObjects, repository, cache, expansion};
    Components components;
};

}  // namespace tests

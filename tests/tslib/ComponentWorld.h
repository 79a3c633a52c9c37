// An installation with component modules: the verifier, the settings store, and one sample component.
#pragma once

#include <algorithm>

#include "companions/settingsstore/SettingsStore.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tests/tslib/PathWorld.h"
#include "tslib/ComponentModule.h"
#include "tslib/tsInstanceFactory.h"
#include "tslib/tsVaneInstanceFactoryImpl.h"
#include "tslib/tsVaneObjectRepository.h"
#include "tslib/tsVaneSettingsStoreLoader.h"

namespace tests {

inline constexpr tsLib::ObjectId kSampleId{0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
inline constexpr tsLib::ObjectId kOwnId{0x22222222, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
inline constexpr tsLib::ObjectId kOtherId{0x33333333, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
inline constexpr tsLib::InterfaceId kISampleId{0xABCDEF00, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}};

class ISample : public tsLib::IVaneBase {
protected:
    ~ISample() = default;
};
class CSample : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, ISample, kISampleId> {};

// The exports of a module: functions without an argument for whose they are, so one type for each module.
template <int number>
struct ModuleExports {
    static inline tsLib::ComponentModule* module = nullptr;
    static tsLib::VaneResult GetFactory(const tsLib::ObjectId& id, tsLib::IFactory** factory) {
        return module->GetFactory(id, factory);
    }
    static std::uint32_t GetObjectCount() { return module->GetObjectCount(); }
    static Exports Both(tsLib::ComponentModule& of) {
        module = &of;
        return {{"GetFactory", reinterpret_cast<EntryPoint>(&GetFactory)},
                {"GetObjectCount", reinterpret_cast<EntryPoint>(&GetObjectCount)}};
    }
};

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
    void PutObject(const tsLib::ObjectId& id, std::u16string_view path) {
        registry.PutText(kMachine, kObjects + u"\\" + tsLib::ToText(id), u"InProc64", path, kKeyView32);
    }
    void PutSetting(const tsLib::ObjectId& id, std::u16string_view path) {
        registry.PutText(kMachine, kSettings + u"\\" + tsLib::ToText(id), u"InProc64", path, kKeyView32);
    }
    [[nodiscard]] std::size_t SampleReferences() const { return modules.References(sampleModule); }
    // Creates a sample and releases it.
    tsLib::VaneResult Create(const tsLib::ObjectId& id = kSampleId) {
        tsLib::VaneRef<ISample> sample;
        return components.Create(id, kISampleId, sample);
    }

    FakeTrustVerifiers verifiers;
    tsLib::ComponentModule verifierObjects{
        {{tsLib::kTrustVerifierObjectId, [this](auto&) { return verifiers.Create(); }}}};
    tsLib::ComponentModule storeObjects{{{tsLib::kSettingsStoreObjectId, [this](tsLib::ModuleObjectCount& count) {
                                              return tsLib::MakeCounted<HVR::CSettingsStore>(count, *this, isolation,
                                                                                             count);
                                          }}}};
    tsLib::ComponentModule sampleObjects{{{kSampleId, &tsLib::MakeCounted<CSample>},  //
                                          {kOtherId, &tsLib::MakeCounted<CSample>}}};
    tsLib::ComponentModule ownObjects{{{kOwnId, &tsLib::MakeCounted<CSample>}}};
    ModuleHandle storeModule{};
    ModuleHandle sampleModule{};

    tsLib::tsVaneSettingsStoreLoader store{*this, expansion};
    tsLib::tsVaneObjectRepository repository{*this, isolation, expansion, store};
    tsLib::tsInstanceFactory cache{modules, verifiers, trace};
    tsLib::tsVaneInstanceFactoryImpl factory{*this, &ownObjects, repository, cache, expansion};
    tsLib::Components components;
};

// Components whose operations do nothing and answer the number of their slot, which counts as a success.
template <class Interface, const tsLib::InterfaceId& id>
using Implementing = tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, Interface, id>;
struct StubStore : Implementing<tsLib::ISettingsStore, tsLib::kISettingsStoreId> {
    using Result = tsLib::VaneResult;
    Result OpenForEnumeration(const char16_t*, tsLib::ISettingsEnumeration**) noexcept override { return Result{3}; }
    Result OpenForReading(const char16_t*, tsLib::ISettingsKey**) noexcept override { return Result{4}; }
    Result OpenForWriting(const char16_t*, tsLib::ISettingsKey**) noexcept override { return Result{5}; }
    Result DeleteKey(const char16_t*) noexcept override { return Result{6}; }
};
struct StubList : Implementing<tsLib::ISettingsEnumeration, tsLib::kISettingsEnumerationId> {
    using Result = tsLib::VaneResult;
    Result SubkeyCount(std::uint32_t*) noexcept override { return Result{3}; }
    Result SubkeyName(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) noexcept override { return Result{4}; }
};

}  // namespace tests

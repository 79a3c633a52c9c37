// Whole operations of the product over fakes, as its modules do them, to be met by every failure in turn.
#pragma once

#include <gtest/gtest.h>

#include <sstream>

#include "AgentCore/ProductInstallPathResolver.h"
#include "companions/protection/ProtectionControl.h"
#include "tests/fakes/FakeSuspensionMarks.h"
#include "tests/tslib/ComponentWorld.h"
#include "tests/verifytrust/TrustFixture.h"
#include "tslib/verifytrust/TrustRecords.h"

namespace tests {

// An installation with all its components, wired as the product's modules wire it. Its end checks that all was given
// back.
struct Installation : PathWorld {
    inline static const std::u16string kRoot = u"D:\\Root\\";
    inline static const std::u16string kProtection = kRoot + u"tsQrtCtl.dll";

    Installation() {
        trace.enabled = false;
        PutToken(u"installdir", u"C:\\Program Files\\Halvora");
        PutToken(u"tsrootx64", u"D:\\Root");
        PutModule<11>(u"tsVrTrst.dll", verifierObjects);
        PutModule<12>(u"tsSet.dll", storeObjects);
        PutModule<13>(u"tsQrtCtl.dll", protectionObjects);
        PutObject(OBJID_QrtControl, kProtection);
        components.Install(&factory);
        pathForms.environment[u"programfiles"] = u"C:\\Program Files";
    }
    template <int number>
    void PutModule(const std::u16string& name, ComponentModule& objects) {
        disk.PutModule(kRoot + name, ModuleExports<number>::Both(objects));
        disk.Sign(kRoot + name, OurCertificate());
    }
    void PutObject(const ObjectId& id, std::u16string_view path) {
        registry.PutText(kMachine, kHive + u"\\" + kSilo + u"\\OBJID\\" + ToText(id), u"InProc64", path, kKeyView32);
    }

    // Makes a protection control: its module is loaded from then on.
    [[nodiscard]] VaneRef<IProtectionControl> MakeControl() {
        VaneRef<IProtectionControl> control;
        static_cast<void>(components.Create(OBJID_QrtControl, kIProtectionControlId, control));
        return control;
    }

    TrustRecords records{files, system};
    TrustContext trust{*this, &isolation, records};
    FakeSuspensionMarks marks{*this};
    ComponentModule verifierObjects{{VerifierComponent(trust)}};
    ComponentModule storeObjects{{{kSettingsStoreObjectId, [this](auto& count) {
                                       return MakeCounted<HVR::CSettingsStore>(count, *this, isolation, count);
                                   }}}};
    ComponentModule protectionObjects{{{OBJID_QrtControl, [this](auto& count) {
                                            return MakeCounted<HVR::CProtectionControl>(count, marks, trace);
                                        }}}};
    ComponentModule ownObjects{{{HVR::CLSID_ProductInstallPathResolver, [this](auto& count) {
                                     return MakeCounted<HVR::CProductInstallPathResolver>(count, *this, expansion);
                                 }}}};
    tsVaneSettingsStoreLoader store{*this, expansion};
    tsVaneObjectRepository repository{*this, isolation, expansion, store};
    tsInstanceFactory cache{*this, trust};
    tsVaneInstanceFactoryImpl factory{*this, &ownObjects, repository, cache, expansion};
    Components components;
};

// One operation. A flow of another kind is of another class; each failure meets a new object.
struct Flow : Installation {
    virtual ~Flow() = default;
    // What has to be there before a run, also before one that comes after a failure. Meets no failure.
    virtual void Prepare() {}
    // What somebody does after a failure who wants to be rid of its traces, where they are meant to stay until then.
    virtual void Recover() {}
    // The operation, and its answer in words: the same for each run without a failure. What must never be, whatever
    // fails, is checked here. It may throw std::bad_alloc, which counts as the answer "no memory".
    virtual std::string Run() = 0;
    // Whether the answer is one that the rules give to such a failure: the one error that was met, or kAll for many of
    // them, or for memory.
    [[nodiscard]] virtual bool IsDocumented(const std::string& answer, SystemError) const {
        return answer.starts_with("result ");
    }
    static constexpr SystemError kAll = SystemError::Success;
};

// What came of an operation, in words.
inline std::string Told(auto result, const char* success) {
    return Succeeded(result) ? success : "result " + std::to_string(Number(result));
}

// Words for an answer; memory running out is thrown out of it.
struct Words : std::ostringstream {
    Words() { exceptions(badbit); }
};

struct FlowEntry {
    const char* name;
    std::unique_ptr<Flow> (*make)();
};
template <class Made>
FlowEntry Entry(const char* name) {
    return {name, [] { return std::unique_ptr<Flow>(std::make_unique<Made>()); }};
}

[[nodiscard]] std::vector<FlowEntry> ShellFlows();
[[nodiscard]] std::vector<FlowEntry> ComponentFlows();
[[nodiscard]] std::vector<FlowEntry> TrustFlows();

}  // namespace tests

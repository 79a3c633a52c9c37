// A resource loader over fakes.
#pragma once

#include <gtest/gtest.h>

#include <set>

#include "resources/ProductKey.h"
#include "resources/ResourceLoader.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tslib/IProtectionControl.h"

namespace tests {

inline constexpr char16_t kModuleName[] = u"ZebShellRes.dll";
inline constexpr char16_t kBeside[] = u"C:\\Shell\\ZebShellRes.dll";

// The protection control component, counting: makes it; what its objects are asked is kept here. One thread.
class FakeProtection final : public tsLib::IComponentSource {
public:
    tsLib::VaneResult CreateInstance(const tsLib::ObjectId& objectId, const tsLib::InterfaceId& interfaceId,
                                     void** object) noexcept override {
        *object = nullptr;
        if (objectId != tsLib::OBJID_QrtControl || interfaceId != tsLib::kIProtectionControlId) {
            return tsLib::VaneResult::NoInterface;
        }
        if (!yieldsNothing) {
            *object = static_cast<tsLib::IProtectionControl*>(new Control(*this));
        }
        return tsLib::VaneResult::Success;
    }

    bool yieldsNothing = false;  // and calls that a success
    tsLib::HResult disableAnswer = tsLib::HResult::Ok;
    tsLib::HResult enableAnswer = tsLib::HResult::Ok;
    int suspended = 0;  // now
    int suspensions = 0;
    int resumes = 0;
    int alive = 0;

    struct Control final : tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IProtectionControl,
                                                tsLib::kIProtectionControlId> {
        explicit Control(FakeProtection& theOwner) : owner(theOwner) { ++owner.alive; }
        ~Control() override { --owner.alive; }
        tsLib::HResult EnableProtection() noexcept override { return Answer(owner.resumes, owner.enableAnswer, -1); }
        tsLib::HResult DisableProtection() noexcept override {
            return Answer(owner.suspensions, owner.disableAnswer, 1);
        }
        tsLib::HResult Answer(int& asked, tsLib::HResult answer, int change) const {
            ++asked;
            owner.suspended += Succeeded(answer) ? change : 0;
            return answer;
        }

        FakeProtection& owner;
    };
};

// Its end checks that nothing is left open, alive or suspended.
struct ResourceWorld : FakePlatform {
    using Texts = std::vector<std::u16string>;

    ResourceWorld() {
        registry.PutText(RegistryRoot::LocalMachine, HVR::kProductKey, u"Home Directory", u"C:\\Prog");
        modules.paths[FakeModules::kOwn] = u"C:\\Shell\\zebshell2.dll";
        modules.onMap = [this] {
            suspendedAtMap.push_back(protection.suspended);
            EXPECT_EQ(OpenHandles("search"), 0U);  // it is over before its result is loaded
            EXPECT_GT(OpenHandles("file"), 0U);    // which is held
        };
        verifiers.onVerify = [this] {
            verifiers.verdict =
                refused.contains(verifiers.asked.back().path) ? tsLib::TrustResult::NotTrusted : verdict;
        };
        components.Install(&protection);
    }
    ~ResourceWorld() {
        EXPECT_EQ(Leftovers(), "");
        EXPECT_EQ(verifiers.alive + verifiers.unprepared, 0U);
        EXPECT_EQ(protection.alive + protection.suspended, 0);
    }
    template <class Loader = HVR::CResourceLoader>
    [[nodiscard]] Loader MakeLoader(ModuleHandle caller = FakeModules::kOwn, std::u16string name = kModuleName) {
        return {*this, caller, std::move(name), verifiers, components};
    }
    // The result of a search, and where it found something: "0x00000000 path".
    std::string Find(HVR::CResourceLoader& loader, bool report = false) {
        const tsLib::HResult result = loader.Initialize(report);
        EXPECT_EQ(loader.GetResourceModule() != ModuleHandle{}, Succeeded(result));
        std::ostringstream found;
        found << result;
        if (std::u16string path; Succeeded(result) && loader.LoadString(1, path)) {
            EXPECT_EQ(path, loader.ResourceModulePath());
            found << ' ' << std::string(path.begin(), path.end());
        }
        return found.str();
    }
    // A resource module, with its own path as string 1.
    void PutModule(const std::u16string& path) { disk.PutStrings(path, {{1, path}}); }
    void PutLanguages(const Texts& folders) {
        for (const auto& folder : folders) {
            PutModule(LanguagePath(folder));
        }
    }
    static std::u16string LanguagePath(const std::u16string& folder) {
        return u"C:\\Prog\\res\\" + folder + u"\\ZebShellRes.dll";
    }
    // The log since the last call, without the class's name.
    Texts Log() {
        Texts log;
        for (const std::u16string& text : std::exchange(desktop.debugTexts, {})) {
            const std::size_t prefix = text.starts_with(u"CResourceLoader::") ? 17 : 0;
            EXPECT_TRUE(text.ends_with(u'\n'));
            log.push_back(text.substr(prefix, text.size() - prefix - 1));
        }
        return log;
    }

    FakeTrustVerifiers verifiers;
    FakeProtection protection;
    tsLib::Components components;
    std::set<std::u16string> refused;  // paths that the verifier refuses
    tsLib::TrustResult verdict = tsLib::TrustResult::Trusted;
    std::vector<int> suspendedAtMap;  // the suspensions in force at each mapping
};

}  // namespace tests

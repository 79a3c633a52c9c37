// A resource loader over fakes.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "resources/ResourceLoader.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeFileSearch.h"
#include "tests/fakes/FakeMessageTexts.h"
#include "tests/fakes/FakeModules.h"
#include "tests/fakes/FakeProtection.h"
#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FakeResourceModules.h"
#include "tests/fakes/FakeTrace.h"
#include "tests/fakes/FakeTrustVerifier.h"

namespace tests {

inline constexpr char16_t kModuleName[] = u"ZebShellRes.dll";
inline constexpr char16_t kSettings[] = u"Software\\Corvane\\Halvora\\AV";

class ResourceWorld : public ::testing::Test {
protected:
    using HResult = tsLib::HResult;
    using SystemError = tsLib::platform::SystemError;
    using Texts = std::vector<std::u16string>;

    ResourceWorld() {
        SetInstallDir(u"C:\\Prog");
        modules.paths[FakeModules::kOwn] = u"C:\\Shell\\zebshell2.dll";
        resources.onMap = [this] {
            suspendedAtMap.push_back(protection.suspended);
            EXPECT_EQ(files.OpenHandles(), 0U);  // a search is over before its result is loaded
        };
        verifiers.onVerify = [this] {
            verifiers.verdict =
                refused.contains(verifiers.asked.back().path) ? tsLib::TrustResult::NotTrusted : otherVerdict;
        };
        components.Install(&protection);
    }
    void TearDown() override {
        EXPECT_EQ(resources.OpenHandles(), 0U);
        EXPECT_EQ(files.OpenHandles() + files.Misuses() + resources.Misuses(), 0U);
        EXPECT_EQ(registry.OpenHandles() + registry.Misuses(), 0U);
        EXPECT_EQ(verifiers.alive + verifiers.unprepared, 0U);
        EXPECT_EQ(protection.alive, 0);
        for (const auto& text : debug.texts) {
            EXPECT_TRUE(text.ends_with(u'\n')) << ::testing::PrintToString(text);
        }
    }

    [[nodiscard]] HVR::CResourceLoader::Seam Seam() {
        return {registry, modules, files, resources, locales,   messages,  codePage,
                station,  boxes,   debug, trace,     verifiers, components};
    }
    [[nodiscard]] HVR::CResourceLoader Loader() { return {FakeModules::kOwn, kModuleName, Seam()}; }

    void SetInstallDir(std::u16string_view value) {
        registry.PutText(FakeRegistry::Root::LocalMachine, kSettings, u"Home Directory", value);
    }
    // A resource module, with its own path as string 1.
    void PutModule(const std::u16string& path) {
        files.PutFile(path);
        resources.Put(path, {{1, path}});
    }
    void PutLanguage(std::u16string_view folder) { PutModule(LanguagePath(folder)); }
    static std::u16string LanguagePath(std::u16string_view folder) {
        return u"C:\\Prog\\res\\" + std::u16string(folder) + u"\\ZebShellRes.dll";
    }
    // How often the sentence was logged, whole.
    [[nodiscard]] std::size_t Logged(const std::u16string& sentence) const {
        return static_cast<std::size_t>(std::count(debug.texts.begin(), debug.texts.end(), sentence + u'\n'));
    }

    FakeRegistry registry;
    FakeModules modules;
    FakeFileSearch files;
    FakeResourceModules resources;
    FakeLocales locales;
    FakeMessageTexts messages;
    FakeCodePage codePage;
    FakeWindowStation station;
    FakeMessageBoxes boxes;
    FakeDebugOutput debug;
    FakeTrace trace;
    FakeTrustVerifierFactory verifiers;
    FakeProtection protection;
    tsLib::InstanceFactorySlot components;

    std::set<std::u16string> refused;  // paths that the verifier refuses
    tsLib::TrustResult otherVerdict = tsLib::TrustResult::Trusted;
    std::vector<int> suspendedAtMap;  // the suspensions in force at each mapping
};

}  // namespace tests

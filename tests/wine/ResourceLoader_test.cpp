// The resource loader over Windows, the real verifier, and real modules in real folders.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "composition/ProductRuntime.h"
#include "resources/RefCountedAtlResourceLoader.h"
#include "resources/ResourceLoader.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeMessageTexts.h"
#include "tests/fakes/FakeProtection.h"
#include "tests/fakes/FakeTrace.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tests/wine/ResourceStaging.h"
#include "tests/wine/Samples.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32CodePage.h"
#include "tslib/platform/win32/Win32DebugOutput.h"
#include "tslib/platform/win32/Win32FileSearch.h"
#include "tslib/platform/win32/Win32Locales.h"
#include "tslib/platform/win32/Win32MessageTexts.h"
#include "tslib/platform/win32/Win32ResourceModules.h"
#include "tslib/platform/win32/Win32WindowStation.h"

namespace {

using namespace tests;
using namespace tsLib::platform;
using tsLib::HResult;
using win32::ToWide;

constexpr char16_t kScratchKey[] = u"Software\\Corvane\\ResourceTest";

// Reads a key of the tests' own, and looks for a chosen language.
class TestLoader final : public HVR::CResourceLoader {
public:
    using CResourceLoader::CResourceLoader;
    std::u16string_view GetRegistryKeyPath() const noexcept override { return kScratchKey; }
    std::uint16_t GetLanguageId() const noexcept override { return language; }
    std::uint16_t language = 1033;
};

class RealResources : public ::testing::Test {
protected:
    void SetUp() override {
        folder = FreshFolder(L"hrl");
        components.Install(&protection);
        PutInstallDir(folder + u"Pr\u00F6g \u4E2D\\");
    }
    void TearDown() override {
        EXPECT_EQ(loader.Unload(), HResult::Ok);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, ToWide(kScratchKey));
        EXPECT_EQ(protection.suspended, 0);
        EXPECT_EQ(protection.alive, 0);
        EXPECT_TRUE(RemoveTree(folder.substr(0, folder.size() - 1))) << "a module is still mapped";
    }

    void PutInstallDir(const std::u16string& value) {
        installDir = value;
        OwnedRegistryKey key(runtime.Platform().registry);
        ASSERT_EQ(
            runtime.Platform().registry.CreateKey(RegistryRoot::LocalMachine, kScratchKey, kKeyWrite, key.Receive()),
            SystemError::Success);
        RegistryValue text{kValueText, {}};
        const auto* bytes = reinterpret_cast<const std::byte*>(value.c_str());
        text.data.assign(bytes, bytes + (value.size() + 1) * sizeof(char16_t));
        ASSERT_EQ(runtime.Platform().registry.WriteValue(key.Get(), u"Home Directory", text), SystemError::Success);
    }
    // Puts a module into a locale's folder below the install directory; `change` is a text whose first letter is
    // changed in the copy.
    std::u16string Put(const std::u16string& from, const std::u16string& locale, std::u16string_view change = u"") {
        std::string bytes = GetBytes(from);
        EXPECT_FALSE(bytes.empty());
        if (!change.empty()) {
            const std::string_view wanted(reinterpret_cast<const char*>(change.data()), change.size() * 2);
            const std::size_t at = bytes.find(wanted);
            EXPECT_NE(at, std::string::npos);
            bytes[at == std::string::npos ? 0 : at] ^= 1;
        }
        for (const auto& made : {installDir, installDir + u"res", installDir + u"res\\" + locale}) {
            CreateDirectoryW(AnyLength(made).c_str(), nullptr);
        }
        const std::u16string path = installDir + u"res\\" + locale + u"\\ZebShellRes.dll";
        EXPECT_TRUE(PutBytes(path, bytes));
        return path;
    }
    [[nodiscard]] HVR::CResourceLoader::Seam Seam() { return Seam(messages); }
    [[nodiscard]] HVR::CResourceLoader::Seam Seam(MessageTexts& texts) {
        HVR::Win32Platform& platform = runtime.Platform();
        return {platform.registry, platform.modules, files, resources, locales, texts,
                codePage,          station,          boxes, debug,     trace,   *verifiers,
                components};
    }
    [[nodiscard]] static ModuleHandle OwnModule() {
        return static_cast<ModuleHandle>(reinterpret_cast<std::uintptr_t>(GetModuleHandleW(nullptr)));
    }
    [[nodiscard]] bool LoggedStart(std::u16string_view start) const {
        return std::any_of(debug.texts.begin(), debug.texts.end(),
                           [&](const std::u16string& text) { return text.starts_with(start); });
    }
    static std::u16string StringOf(HVR::CResourceLoader& loader, std::uint32_t id) {
        std::u16string text;
        EXPECT_TRUE(loader.LoadString(id, text)) << id;
        return text;
    }

    HVR::ProductRuntime& runtime = HVR::ProductRuntime::Instance();
    win32::Win32FileSearch files;
    win32::Win32ResourceModules resources;
    win32::Win32Locales locales;
    win32::Win32MessageTexts messages;
    win32::Win32CodePage codePage;
    win32::Win32WindowStation station;
    FakeMessageBoxes boxes;
    FakeDebugOutput debug;
    FakeTrace trace;
    FakeProtection protection;
    tsLib::InstanceFactorySlot components;
    tsLib::TrustVerifierFactory* verifiers = &runtime.TrustVerifiers();
    std::u16string folder;
    std::u16string installDir;
    TestLoader loader{OwnModule(), u"ZebShellRes.dll", Seam()};
};

TEST_F(RealResources, TheBestLanguageIsLoaded_UnderOneSuspension) {
    const std::u16string german = Put(StagedModule(1031), u"2055");
    Put(StagedModule(1036), u"1036");
    Put(StagedModule(1033), u"1033");
    const struct {
        std::uint16_t language;
        std::u16string item;
    } rows[] = {{2055, u"Mit Halvora \u00FCber&pr\u00FCfen"},
                {3079, u"Mit Halvora \u00FCber&pr\u00FCfen"},
                {3084, u"&Analyser avec Halvora"},
                {1041, u"&Scan with Halvora"}};
    for (const auto& row : rows) {
        loader.language = row.language;
        const int before = protection.suspensions;
        ASSERT_EQ(loader.Initialize(true), HResult::Ok) << row.language;
        EXPECT_EQ(StringOf(loader, 1), row.item);
        EXPECT_EQ(protection.suspensions, before + 1);
        EXPECT_EQ(protection.resumes, before + 1);
        EXPECT_EQ(loader.Unload(), HResult::Ok);
    }
    EXPECT_TRUE(LoggedStart(u"CResourceLoader::LoadTrustedDll - load succeeded.  " + german + u" \n"));
}

TEST_F(RealResources, EveryLanguageHasItsStrings) {
    PutInstallDir(StagedModule(1033).substr(0, StagedModule(1033).find(u"res\\1033")) + u"bin64\\");
    std::size_t count = 0;
    OwnedSearch search(files);
    FoundEntry entry;
    const std::u16string stage = installDir.substr(0, installDir.size() - 6);
    for (auto error = files.First(stage + u"res\\*.*", search.Receive(), entry); Succeeded(error);
         error = files.Next(search.Get(), entry)) {
        if (entry.name.starts_with(u'.')) {
            continue;
        }
        ++count;
        loader.language = static_cast<std::uint16_t>(std::stoi(std::string(entry.name.begin(), entry.name.end())));
        ASSERT_EQ(loader.Initialize(false), HResult::Ok) << loader.language;
        EXPECT_EQ(loader.ResourceModulePath(), stage + u"res\\" + entry.name + u"\\ZebShellRes.dll");
        EXPECT_EQ(loader.LoadedLanguage(), loader.language & 0x3FF);
        const std::u16string item = StringOf(loader, 1);
        EXPECT_EQ(std::count(item.begin(), item.end(), u'&'), 1) << loader.language;
        EXPECT_EQ(StringOf(loader, 101), u"Halvora");
        EXPECT_GT(StringOf(loader, 2).size(), 10U);
        EXPECT_GT(StringOf(loader, 102).size(), 10U);
        EXPECT_EQ(loader.Unload(), HResult::Ok);
    }
    EXPECT_GE(count, 25U);
}

TEST_F(RealResources, UnsignedTamperedAndForeignModulesAreNeverMapped) {
    Put(UnsignedModule(1031), u"1031");
    Put(StagedModule(1031), u"2055", u"Mit Halvora");
    Put(Sample(u"other-names.dll"), u"3079");
    loader.language = 4103;  // all three are of its language, none is the exact one
    EXPECT_EQ(loader.Initialize(false), HResult::SignatureRefused);
    EXPECT_EQ(loader.GetResourceModule(), ModuleHandle{});
    EXPECT_EQ(protection.suspensions, 0);
    const auto refusals = std::count_if(debug.texts.begin(), debug.texts.end(), [](const std::u16string& text) {
        return text.find(u"Trust verification failed: Errorcode 0x80090325 File:  ") != std::u16string::npos;
    });
    EXPECT_EQ(refusals, 3);
    EXPECT_FALSE(
        LoggedStart(u"CResourceLoader::LoadTrustedDll - load"
                    u" succeeded."));
    // A good one further down the order is found all the same.
    Put(StagedModule(1033), u"1033");
    EXPECT_EQ(loader.Initialize(false), HResult::Ok);
    EXPECT_EQ(loader.LoadedLanguage(), 9);
}

TEST_F(RealResources, RefusalIsReportedOnAVisibleDesktop) {
    Put(UnsignedModule(1033), u"1033");
    FakeMessageTexts refusals;  // the system may lack the text
    refusals.texts[{0x80090325, std::uint16_t{0}}] = u"refused";
    TestLoader reporter(OwnModule(), u"ZebShellRes.dll", Seam(refusals));
    EXPECT_EQ(reporter.Initialize(true), HResult::Fail);
    EXPECT_TRUE(reporter.DisplayVisible());
    ASSERT_EQ(boxes.shown.size(), 1U);
    EXPECT_EQ(boxes.shown[0].text, u"refused");
    EXPECT_EQ(debug.texts.back(), u"refused\n");
}

TEST_F(RealResources, NothingThere) {
    EXPECT_EQ(loader.Initialize(false), HResult::FileNotFound);
    EXPECT_TRUE(LoggedStart(u"CResourceLoader::LoadResUsingExactLocale - invalid handle.\n"));
}

TEST_F(RealResources, ModuleFolderComesLast) {
    const std::u16string library = folder + u"caller.dll";
    ASSERT_TRUE(PutBytes(library, GetBytes(Sample(u"unsigned.dll"))));
    ASSERT_TRUE(PutBytes(folder + u"ZebShellRes.dll", GetBytes(StagedModule(1040))));
    const HMODULE caller = LoadLibraryW(ToWide(library));
    ASSERT_NE(caller, nullptr);
    {
        TestLoader beside(static_cast<ModuleHandle>(reinterpret_cast<std::uintptr_t>(caller)), u"ZebShellRes.dll",
                          Seam());
        EXPECT_EQ(beside.Initialize(true), HResult::Ok);
        EXPECT_EQ(StringOf(beside, 1), u"&Analizza con Halvora");
        EXPECT_EQ(beside.LoadedLanguage(), 0);
    }
    EXPECT_TRUE(FreeLibrary(caller));
}

TEST_F(RealResources, InstanceReadsFromTheModuleWhileItIsHeld) {
    Put(StagedModule(1033), u"1033");
    HVR::ResourceInstance instance(OwnModule());
    HVR::CRefCountedAtlResourceLoader holder(&loader, false, instance, tsLib::Tracer(trace));
    std::u16string buffer(512, u'\0');
    EXPECT_EQ(resources.ReadString(instance.Get(), 1, buffer), 0U);  // our own module holds no strings
    EXPECT_EQ(holder.Acquire(), 1U);
    EXPECT_EQ(resources.ReadString(instance.Get(), 1, buffer), 18U);
    EXPECT_EQ(buffer.substr(0, 18), u"&Scan with Halvora");
    EXPECT_EQ(holder.Release(), 0U);
    EXPECT_EQ(instance.Get(), OwnModule());
}

// A module whose strings are as long as the loader's buffers allow, written with Windows' own functions.
TEST_F(RealResources, LongStrings) {
    FakeTrustVerifierFactory trusting;  // nobody signs what is made here
    verifiers = &trusting;
    const std::u16string path = Put(UnsignedModule(1033), u"1033");
    const std::size_t lengths[] = {510, 511, 512, 1023, 8190, 8191};
    std::u16string table;
    for (std::size_t i = 0; i < 16; ++i) {
        const std::size_t length = i < std::size(lengths) ? lengths[i] : 0;
        table += static_cast<char16_t>(length);
        table += std::u16string(length, static_cast<char16_t>(u'a' + i));
    }
    const HANDLE update = BeginUpdateResourceW(ToWide(path), FALSE);
    ASSERT_NE(update, nullptr);
    EXPECT_TRUE(UpdateResourceW(update, RT_STRING, MAKEINTRESOURCEW(101), 1033, table.data(),
                                static_cast<DWORD>(table.size() * sizeof(char16_t))));
    ASSERT_TRUE(EndUpdateResourceW(update, FALSE));
    TestLoader longLoader(OwnModule(), u"ZebShellRes.dll", Seam());
    ASSERT_EQ(longLoader.Initialize(false), HResult::Ok);
    for (std::uint32_t i = 0; i < std::size(lengths); ++i) {
        std::u16string text;
        EXPECT_EQ(longLoader.LoadString(1600 + i, text), lengths[i] <= 8190) << lengths[i];
        EXPECT_EQ(text.size(), lengths[i] <= 8190 ? lengths[i] : 0);
    }
}

std::string g_debugText;

// Windows tells a debugger the wide text first and, when nobody takes it, the narrow one; other systems only the
// latter.
LONG CALLBACK KeepDebugText(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    constexpr DWORD kNarrowPrint = 0x40010006;
    if (record.ExceptionCode != kNarrowPrint || record.NumberParameters < 2) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    // The length counts the terminator.
    g_debugText.assign(reinterpret_cast<const char*>(record.ExceptionInformation[1]),
                       static_cast<std::size_t>(record.ExceptionInformation[0]) - 1);
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(RealDebugOutput, ReachesADebugger_AndKeepsTheLastError) {
    win32::Win32DebugOutput output;
    void* const handler = AddVectoredExceptionHandler(1, KeepDebugText);
    SetLastError(4711);
    output.Write(u"a sentence.\n");
    EXPECT_EQ(GetLastError(), 4711U);
    RemoveVectoredExceptionHandler(handler);
    EXPECT_EQ(g_debugText, "a sentence.\n");
}

}  // namespace

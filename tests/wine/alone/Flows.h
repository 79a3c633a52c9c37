// What hosts do with each of our modules.
#pragma once

#include "tests/wine/alone/Flow.h"

namespace tests {

// The whole life of right-clicks, with all components.
class ShellFlow : public Flow {
public:
    ShellFlow() : Flow(u"zebshell2.dll") {
        for (const char16_t* const module : {u"tsVrTrst.dll", u"tsSet.dll", u"tsQrtCtl.dll"}) {
            installation.PutProduct(module);
        }
        installation.PutEnglishStrings();
        installation.PutOrientation(kAllowed);
        installation.PutObject(tsLib::OBJID_QrtControl, u"%TSROOTX64%\\tsQrtCtl.dll", u"Settings\\Tessel\\OBJID\\");
        for (const char16_t* const folder : {u"temp", u"real", u"small"}) {
            EXPECT_TRUE(CreateDirectoryW(ToWide(installation.Folder() + folder), nullptr));
        }
        installation.Put(Staged(u"ScanAgent.exe"), u"real\\ScanAgent.exe");
        installation.Put(Sample(u"good.exe"), u"small\\ScanAgent.exe");  // which is soon verified
        EXPECT_TRUE(PutBytes(item_, "clean"));
        EXPECT_EQ(LoadedModule(provider_).Call("DllRegisterServer"), S_OK);
        LetFilesAge();
    }
    ~ShellFlow() override { EXPECT_EQ(LoadedModule(provider_).Call("DllUnregisterServer"), S_OK); }

    void Prepare(const LoadedModule& module) override {
        patches_ = std::make_unique<Patches>(module.Get());
        installation.PutText(u"Tessel\\PathExpansionMap", L"INSTALLDIR",
                             installation.Folder() + (isReal ? u"real\\" : u"small\\"));
    }
    void Begin(const LoadedModule& module, const Answers& answers) override {
        answers.Are("register", [&] { return module.Call("DllRegisterServer"); });
    }
    void Use(const LoadedModule& module, const Answers& answers) override {
        TestDataObject data({item_});
        TestDataObject failing([](STGMEDIUM&) -> HRESULT { throw std::bad_alloc(); });
        ComPtr<IShellExtInit> init = Create(module, answers);
        ComPtr<IContextMenu> handler;
        ComPtr<IShellPropSheetExt> sheet;
        if (!init) {
            return;
        }
        const auto select = [&](IDataObject* selection) {
            return [&init, selection] { return init->Initialize(nullptr, selection, nullptr); };
        };
        answers.Are("no selection", select(nullptr), E_FAIL, {E_OUTOFMEMORY});
        answers.Are("failing selection", select(&failing), E_OUTOFMEMORY);
        answers.Are("selection", select(&data));
        answers.Are(
            "interfaces", [&] { return init.As(&handler) | init.As(&sheet); }, S_OK);
        answers.Are("item", [&] { return MenuItem(*handler.Get()); }, L"&Scan with Halvora", {L""});
        char help[100] = {};
        wchar_t wideHelp[100] = {};
        const auto tell = [&](UINT type, void* buffer) {
            return
                [=, &handler] { return handler->GetCommandString(0, type, nullptr, static_cast<char*>(buffer), 100); };
        };
        answers.Are("help", tell(GCS_HELPTEXTA, help));
        answers.Are("help text", std::string(help), "Scans the selected items for viruses and other threats.", {""});
        answers.Are("wide help", tell(GCS_HELPTEXTW, wideHelp));
        answers.Are("wide help text", std::wstring(wideHelp),
                    L"Scans the selected items for viruses and other threats.", {L""});
        int pages = 0;
        answers.Are(
            "pages", [&] { return sheet->AddPages(&DestroyPage, reinterpret_cast<LPARAM>(&pages)); }, S_OK);
        answers.Are("page", pages, 1, {0});
        const int starts = scannerStarts;
        answers.Are("scan", [&] { return Invoke(*handler.Get()); });
        answers.Are("scanner", scannerStarts > starts, true, {false});
        handler.Reset();
        sheet.Reset();
        answers.Are(
            "the last release", [&] { return init.Reset(); }, 0U);
    }
    // With a refused scan, whose setting is every thread's.
    void End(const LoadedModule& module, const Answers& answers) override {
        ComPtr<IContextMenu> handler;
        if (const ComPtr<IShellExtInit> init = Create(module, answers); init && SUCCEEDED(init.As(&handler))) {
            const int starts = scannerStarts, before = boxes;
            installation.PutOrientation(kRefused);
            answers.Are("refused scan", [&] { return Invoke(*handler.Get()); });
            installation.PutOrientation(kAllowed);
            answers.Are("refusal", boxes > before, true, {false});
            answers.Are("no scanner", scannerStarts == starts, true);
        }
        answers.Are(
            "unregister", [&] { return module.Call("DllUnregisterServer"); }, S_OK);
    }
    void CleanUp() override {
        patches_.reset();
        CoFreeUnusedLibrariesEx(0, 0);  // the page provider
        CoFreeUnusedLibrariesEx(0, 0);
        WIN32_FIND_DATAW found{};
        const HANDLE search = FindFirstFileW(ToWide(temporary_ + u"Scan*"), &found);
        for (bool more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found) != FALSE) {
            DeleteFileW((std::wstring(ToWide(temporary_)) + found.cFileName).c_str());
        }
        FindClose(search);
    }
    // The runtime is made, but no handler.
    void UseBriefly(const LoadedModule& module, const Answers& answers) override {
        ComPtr<IClassFactory> factory;
        ComPtr<IContextMenu> handler;
        TestDataObject outer;
        answers.Are("class object", module.GetClassObject(HVR::kHandlerClassId, IID_PPV_ARGS(&factory)));
        answers.Are("refused handler", factory->CreateInstance(&outer, IID_PPV_ARGS(&handler)), CLASS_E_NOAGGREGATION,
                    {E_OUTOFMEMORY});
    }

private:
    static constexpr DWORD kAllowed = 1, kRefused = 5134;

    struct Patches {
        explicit Patches(HMODULE module)
            : start(module, &CreateProcessW, &StartScanner),
              types(module, &RegisterTypeLib, &RegisterTypes),
              box(module, &MessageBoxW, &CountBox) {}
        ImportPatch start;
        ImportPatch types;
        ImportPatch box;
    };

    static ComPtr<IShellExtInit> Create(const LoadedModule& module, const Answers& answers) {
        ComPtr<IClassFactory> factory;
        ComPtr<IShellExtInit> init;
        const auto getClass = [&](const CLSID& id) {
            return [&] { return module.GetClassObject(id, IID_PPV_ARGS(&factory)); };
        };
        answers.Are("no class", getClass({}), CLASS_E_CLASSNOTAVAILABLE);
        answers.Are("class object", getClass(HVR::kHandlerClassId));
        answers.Are("lock", [&] { return factory->LockServer(TRUE) | factory->LockServer(FALSE); });
        answers.Are("create", [&] { return factory->CreateInstance(nullptr, IID_PPV_ARGS(&init)); });
        return init;
    }

    const std::u16string temporary_ = installation.Folder() + u"temp\\";
    const std::u16string item_ = installation.Folder() + u"clean.txt";
    const std::u16string provider_ = installation.PutProduct(u"zebpages.dll");
    const VariableForTest variable_{L"TMP", temporary_};
    std::unique_ptr<Patches> patches_;
};

// One with components.
class ComponentFlow : public Flow {
public:
    [[nodiscard]] bool MayGo(const LoadedModule& module) override {
        return Export<std::uint32_t()>(module, "GetObjectCount")() == 0;
    }

protected:
    using Flow::Flow;
    // An object of the only component; empty when there is no memory.
    template <class Interface>
    static tsLib::VaneRef<Interface> Make(const LoadedModule& module, const tsLib::ObjectId& id,
                                          const tsLib::InterfaceId& interfaceId, const Answers& answers) {
        tsLib::VaneRef<tsLib::IFactory> factory;
        void* object = nullptr;
        answers.Are("factory", Export<tsLib::VaneResult(const tsLib::ObjectId&, tsLib::IFactory**)>(
                                   module, "GetFactory")(id, factory.Receive()));
        if (factory) {
            answers.Are("create", factory->CreateInstance(interfaceId, &object));
        }
        return tsLib::VaneRef<Interface>(static_cast<Interface*>(object));
    }

private:
    template <class Function>
    static Function* Export(const LoadedModule& module, const char* name) {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module.Get(), name)));
    }
};

class VerifierFlow : public ComponentFlow {
public:
    VerifierFlow() : ComponentFlow(u"tsVrTrst.dll") { LetFilesAge(); }
    void UseBriefly(const LoadedModule& module, const Answers& answers) override {
        if (const auto verifier = Make(module, answers)) {
            answers.Are("options", verifier->Initialize(true), 1U);
            answers.Are("no file", verifier->VerifyFile((signed_ + u"x").c_str(), kLevel), TrustResult::FileError,
                        {TrustResult::OutOfMemory});
        }
    }
    void Use(const LoadedModule& module, const Answers& answers) override {
        const auto verifier = Make(module, answers);
        if (!verifier) {
            return;
        }
        const auto verify = [&](const std::u16string& file, tsLib::TrustLevel level) {
            return verifier->VerifyFile(file.c_str(), level);
        };
        answers.Are("signed", verify(signed_, kLevel), TrustResult::Trusted, {TrustResult::OutOfMemory});
        answers.Are("known", verify(signed_, kLevel), TrustResult::Trusted, {TrustResult::OutOfMemory});
        answers.Are("unsigned", verify(unsigned_, kLevel), TrustResult::NotTrusted, {TrustResult::OutOfMemory});
        // Wine knows newer catalogs or does not.
        answers.Are("no catalog", verify(unsigned_, 1) == TrustResult::Trusted, false);
        tsLib::TrustReport report{};
        report.size = sizeof(report);
        answers.Are("report", verifier->DescribeFile(signed_.c_str(), kLevel, false, true, &report),
                    TrustResult::Trusted, {TrustResult::OutOfMemory});
        answers.Are("signer", report.organization[0] != 0, true, {false});
    }

private:
    using TrustResult = tsLib::TrustResult;
    static constexpr tsLib::TrustLevel kLevel = 3;

    static tsLib::VaneRef<tsLib::IVerifyTrust> Make(const LoadedModule& module, const Answers& answers) {
        return ComponentFlow::Make<tsLib::IVerifyTrust>(module, tsLib::kTrustVerifierObjectId, tsLib::kIVerifyTrustId,
                                                        answers);
    }

    const std::u16string signed_ = installation.PutSample(u"good.exe");
    const std::u16string unsigned_ = installation.PutSample(u"unsigned.exe");
};

class SettingsFlow : public ComponentFlow {
public:
    SettingsFlow() : ComponentFlow(u"tsSet.dll") { installation.PutText(u"Settings\\A\\B", L"text", u"value"); }
    void Use(const LoadedModule& module, const Answers& answers) override {
        const auto store =
            Make<tsLib::ISettingsStore>(module, tsLib::kSettingsStoreObjectId, tsLib::kISettingsStoreId, answers);
        if (!store) {
            return;
        }
        tsLib::VaneRef<tsLib::ISettingsKey> key;
        tsLib::VaneRef<tsLib::ISettingsEnumeration> keys;
        char16_t text[10] = {};
        std::uint32_t number = 0;
        const auto opens = [&](const char* operation, VaneResult answer, VaneResult right = VaneResult::Success) {
            answers.Are(operation, answer, right, {VaneResult::OutOfMemory, tsLib::kSettingsUnavailable});
        };
        opens("missing key", store->OpenForReading(u"none", key.Receive()), tsLib::kSettingMissing);
        opens("read", store->OpenForReading(u"A\\B", key.Receive()));
        if (key) {
            answers.Are("text", key->ReadText(u"text", text, 10, nullptr));
            answers.Are("value", std::u16string(text), u"value", {u""});
            answers.Are("short", key->ReadText(u"text", text, 2, nullptr), tsLib::kSettingTooLong);
            answers.Are("other type", key->ReadNumber(u"text", &number), tsLib::kSettingOtherType);
            answers.Are("missing", key->ReadText(u"none", text, 10, nullptr), tsLib::kSettingMissing);
            answers.Are("denied", key->WriteNumber(u"n", 1), tsLib::kSettingDenied);
        }
        opens("enumerate", store->OpenForEnumeration(u"A", keys.Receive()));
        if (keys) {
            answers.Are("count", keys->SubkeyCount(&number));
            answers.Are("name", keys->SubkeyName(0, text, 10, nullptr));
            answers.Are("end", keys->SubkeyName(100, text, 10, nullptr), tsLib::kSettingMissing);
        }
    }

private:
    using VaneResult = tsLib::VaneResult;
};

[[nodiscard]] inline bool IsNoneLoaded() {
    return std::ranges::none_of(
        std::initializer_list<const wchar_t*>{L"zebshell2.dll", L"tsVrTrst.dll", L"tsSet.dll", L"tsQrtCtl.dll",
                                              L"zebpages.dll", L"ZebShellRes.dll"},
        [](const wchar_t* name) { return GetModuleHandleW(name) != nullptr; });
}
[[nodiscard]] inline bool IsProtectionSuspended() {
    bool isSuspended = true;
    EXPECT_TRUE(Succeeded(HVR::Win32SuspensionMarks().IsAnySet(isSuspended)));
    return isSuspended;
}

class ProtectionFlow : public ComponentFlow {
public:
    ProtectionFlow() : ComponentFlow(u"tsQrtCtl.dll") {}
    void Use(const LoadedModule& module, const Answers& answers) override {
        using tsLib::HResult;
        const auto control =
            Make<tsLib::IProtectionControl>(module, tsLib::OBJID_QrtControl, tsLib::kIProtectionControlId, answers);
        if (!control) {
            return;
        }
        answers.Are("nothing to resume", control->EnableProtection(), HResult::False);
        answers.Are("suspend", control->DisableProtection(), HResult::Ok);
        answers.Are("state", IsProtectionSuspended(), true);
        answers.Are("suspend twice", control->DisableProtection(), HResult::Ok);
        answers.Are("resume", control->EnableProtection(), HResult::Ok);  // and once more by the object's end
    }
};

class PagesFlow : public Flow {
public:
    PagesFlow() : Flow(u"zebpages.dll") {}
    void Begin(const LoadedModule& module, const Answers& answers) override {
        answers.Are("register", module.Call("DllRegisterServer"));
    }
    void Use(const LoadedModule& module, const Answers& answers) override {
        ComPtr<IClassFactory> factory;
        ComPtr<HVR::IPageProvider> provider;
        answers.Are("class object", module.GetClassObject(HVR::kPageProviderClassId, IID_PPV_ARGS(&factory)));
        answers.Are("create", factory->CreateInstance(nullptr, HVR::kPageProviderInterfaceId,
                                                      reinterpret_cast<void**>(provider.GetAddressOf())));
        for (const UINT mode : {HVR::kSelectionPage, HVR::kControlPanelPage}) {
            HPROPSHEETPAGE page = nullptr;
            if (provider) {
                answers.Are("page", provider->MakePage(mode, &page));
                DestroyPropertySheetPage(page);
            }
        }
    }
    void End(const LoadedModule& module, const Answers& answers) override {
        answers.Are("unregister", module.Call("DllUnregisterServer"));
    }
};

}  // namespace tests

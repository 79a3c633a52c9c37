// COM's rules on the real library.
#include "tests/wine/ShellServer.h"

#include <oleauto.h>

#include <set>
#include <string_view>

namespace tests {
namespace {

using Microsoft::WRL::ComPtr;

class ShellServer : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(library.Get(), nullptr) << "HALVORA_STAGE must name the staged folder";
        ASSERT_EQ(library.Call("DllCanUnloadNow"), S_OK);
    }
    void TearDown() override {
        if (library.Get() != nullptr) {
            EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK) << "a lock is left";
        }
    }
    ComPtr<IClassFactory> Factory() {
        ComPtr<IClassFactory> factory;
        EXPECT_EQ(library.GetClassObject(kHandlerClass, IID_PPV_ARGS(&factory)), S_OK);
        return factory;
    }

    LoadedModule library{Staged(L"zebshell2.dll")};
    // Where no resource module is: the objects then load nothing, which is quicker.
    SettingForTest home{L"Home Directory"};
};

TEST_F(ShellServer, Exports_ExactlyTheFourWithoutDecoration) {
    const auto* base = reinterpret_cast<const BYTE*>(library.Get());
    const auto* nt =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const auto* exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    std::set<std::string> found;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
        found.insert(reinterpret_cast<const char*>(base + names[i]));
    }
    EXPECT_EQ(found, (std::set<std::string>{"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                                            "DllUnregisterServer"}));
    EXPECT_EQ(exports->NumberOfFunctions, 4U);
}

TEST_F(ShellServer, Resources_SecondScriptTypeLibraryAndVersion) {
    const HRSRC script = FindResourceW(library.Get(), MAKEINTRESOURCEW(102), L"REGISTRY");
    ASSERT_NE(script, nullptr);
    const std::string_view text(static_cast<const char*>(LockResource(LoadResource(library.Get(), script))),
                                SizeofResource(library.Get(), script));
    for (const char* part : {"ZEBScann.ZEBScann.1 = s 'ZEBScann Class'", "ForceRemove Programmable",
                             "ForceRemove {150C8EB1-BDDF-11D1-82D7-00A0C9749EEF} = s 'ZEBScann Class'"}) {
        EXPECT_NE(text.find(part), std::string_view::npos) << part;
    }
    EXPECT_NE(FindResourceW(library.Get(), MAKEINTRESOURCEW(1), RT_VERSION), nullptr);

    // The case of the key's name is part of the script: the registry itself compares without it.
    const HRSRC own = FindResourceW(library.Get(), MAKEINTRESOURCEW(101), L"REGISTRY");
    ASSERT_NE(own, nullptr);
    std::string ownText(static_cast<const char*>(LockResource(LoadResource(library.Get(), own))),
                        SizeofResource(library.Get(), own));
    std::size_t shells[2] = {};
    for (const std::string word : {"NoRemove Shellex\n", "NoRemove shellex\n"}) {
        for (std::size_t at = 0; (at = ownText.find(word, at)) != std::string::npos; ++at) {
            ++shells[word[9] == 's'];
        }
    }
    EXPECT_EQ(shells[0], 3U);
    EXPECT_EQ(shells[1], 1U);

    ComPtr<ITypeLib> types;
    ASSERT_EQ(LoadTypeLibEx(Staged(L"zebshell2.dll").c_str(), REGKIND_NONE, &types), S_OK);
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(types->GetLibAttr(&attributes), S_OK);
    EXPECT_TRUE(IsEqualGUID(attributes->guid,
                            GUID{0x6F952B50, 0xBCEE, 0x11D1, {0x82, 0xD6, 0x00, 0xA0, 0xC9, 0x74, 0x9E, 0xEF}}));
    EXPECT_EQ(attributes->wMajorVerNum, 1);
    EXPECT_EQ(attributes->wMinorVerNum, 0);
    types->ReleaseTLibAttr(attributes);
    // Kind, name, id and help of the library (-1) and its types, in any order.
    std::set<std::wstring> found;
    for (int i = -1; i < static_cast<int>(types->GetTypeInfoCount()); ++i) {
        BSTR name = nullptr;
        BSTR help = nullptr;
        ASSERT_EQ(types->GetDocumentation(i, &name, &help, nullptr, nullptr), S_OK);
        std::wstring line = std::wstring(name) + L", " + help;
        SysFreeString(name);
        SysFreeString(help);
        ComPtr<ITypeInfo> info;
        TYPEATTR* type = nullptr;
        if (i >= 0 && SUCCEEDED(types->GetTypeInfo(static_cast<UINT>(i), &info)) &&
            SUCCEEDED(info->GetTypeAttr(&type))) {
            wchar_t id[40] = {};
            StringFromGUID2(type->guid, id, 40);
            line += std::wstring(L", ") + id + L", " + std::to_wstring(type->typekind) +
                    ((type->wTypeFlags & TYPEFLAG_FDUAL) != 0 ? L", dual" : L"");
            info->ReleaseTypeAttr(type);
        }
        found.insert(line);
    }
    const std::set<std::wstring> expected{
        L"ZEBSHELL2Lib, zebshell2 1.0 Type Library",
        L"ZebshellEx, ZebshellEx Class, {6F952B5E-BCEE-11D1-82D6-00A0C9749EEF}, " + std::to_wstring(TKIND_COCLASS),
        L"IZebshellEx, IZebshellEx Interface, {6F952B5D-BCEE-11D1-82D6-00A0C9749EEF}, " +
            std::to_wstring(TKIND_INTERFACE),
        L"ZEBScann, ZEBScann Class, {150C8EB1-BDDF-11D1-82D7-00A0C9749EEF}, " + std::to_wstring(TKIND_COCLASS),
        L"IZEBScann, IZEBScann Interface, {150C8EB0-BDDF-11D1-82D7-00A0C9749EEF}, " + std::to_wstring(TKIND_DISPATCH) +
            L", dual"};
    EXPECT_EQ(found, expected);
}

TEST_F(ShellServer, ClassObject_OneClassOnly) {
    const CLSID others[] = {{0x150C8EB1, 0xBDDF, 0x11D1, {0x82, 0xD7, 0x00, 0xA0, 0xC9, 0x74, 0x9E, 0xEF}},
                            {0x6F952B5E, 0xBCEE, 0x11D1, {0x82, 0xD6, 0x00, 0xA0, 0xC9, 0x74, 0x9E, 0xEF}},
                            {}};
    for (const CLSID& other : others) {
        void* object = this;
        EXPECT_EQ(library.GetClassObject(other, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
        EXPECT_EQ(object, nullptr);
    }
    void* object = this;
    EXPECT_EQ(library.GetClassObject(kHandlerClass, IID_IContextMenu, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(library.GetClassObject(kHandlerClass, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(Factory().Get(), Factory().Get()) << "made once and kept";
}

TEST_F(ShellServer, LocksObjectsAndFactories_KeepTheModule) {
    auto factory = Factory();
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_FALSE);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    IClassFactory* raw = factory.Get();
    factory.Reset();
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_FALSE) << "locked";
    EXPECT_EQ(raw->LockServer(FALSE), S_OK);
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK);
    EXPECT_EQ(raw->LockServer(FALSE), E_UNEXPECTED);

    ComPtr<IContextMenu> menu;
    ASSERT_EQ(Factory()->CreateInstance(nullptr, IID_PPV_ARGS(&menu)), S_OK);
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_FALSE) << "an object lives";
    EXPECT_EQ(raw->LockServer(FALSE), E_UNEXPECTED);
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_FALSE);
}

TEST_F(ShellServer, QueryInterface_SymmetricTransitiveAndOneIdentity) {
    const IID ids[] = {IID_IUnknown, IID_IShellExtInit, IID_IContextMenu, IID_IShellPropSheetExt};
    ComPtr<IUnknown> object;
    ASSERT_EQ(Factory()->CreateInstance(nullptr, IID_PPV_ARGS(&object)), S_OK);
    for (const IID& from : ids) {
        ComPtr<IUnknown> start;
        ASSERT_EQ(object->QueryInterface(from, reinterpret_cast<void**>(start.GetAddressOf())), S_OK);
        for (const IID& to : ids) {
            ComPtr<IUnknown> end;
            ComPtr<IUnknown> identity;
            ComPtr<IUnknown> same;
            ASSERT_EQ(start->QueryInterface(to, reinterpret_cast<void**>(end.GetAddressOf())), S_OK);
            ASSERT_EQ(end->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(identity.GetAddressOf())), S_OK);
            EXPECT_EQ(identity.Get(), object.Get());
            ASSERT_EQ(end->QueryInterface(from, reinterpret_cast<void**>(same.GetAddressOf())), S_OK);
            EXPECT_EQ(same.Get(), start.Get());
        }
        void* none = this;
        EXPECT_EQ(start->QueryInterface(IID_IDataObject, &none), E_NOINTERFACE);
        EXPECT_EQ(none, nullptr);
        EXPECT_EQ(start->QueryInterface(from, nullptr), E_POINTER);
    }
    object->AddRef();
    EXPECT_EQ(object->Release(), 1U);
}

TEST_F(ShellServer, CreateInstance_RefusalsLeaveNothing) {
    auto factory = Factory();
    void* object = this;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IDataObject, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    TestDataObject outer;
    object = this;
    EXPECT_EQ(factory->CreateInstance(&outer, IID_IContextMenu, &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(outer.references, 1U);
}

// An outer object that answers for itself and asks its inner one for the rest.
class Outer final : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) override {
        if (IsEqualIID(interfaceId, IID_IUnknown)) {
            *object = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        return inner->QueryInterface(interfaceId, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    ComPtr<IUnknown> inner;
    ULONG references = 1;
};

TEST_F(ShellServer, Aggregated_TheOuterObjectCountsAndAnswers) {
    Outer outer;
    ASSERT_EQ(Factory()->CreateInstance(&outer, IID_PPV_ARGS(&outer.inner)), S_OK);
    EXPECT_EQ(outer.references, 1U) << "the inner object does not hold the outer one";
    ComPtr<IUnknown> same;
    ASSERT_EQ(outer.inner.As(&same), S_OK);
    EXPECT_EQ(same.Get(), outer.inner.Get()) << "the inner unknown answers for itself";
    same.Reset();
    {
        ComPtr<IContextMenu> menu;
        ASSERT_EQ(outer.inner.As(&menu), S_OK);
        EXPECT_EQ(outer.references, 2U);
        ComPtr<IUnknown> identity;
        ASSERT_EQ(menu.As(&identity), S_OK);
        EXPECT_EQ(identity.Get(), static_cast<IUnknown*>(&outer));
        ComPtr<IShellExtInit> init;
        ASSERT_EQ(menu.As(&init), S_OK);
        EXPECT_EQ(outer.references, 4U);
        EXPECT_EQ(init->Initialize(nullptr, nullptr, nullptr), E_FAIL);
    }
    EXPECT_EQ(outer.references, 1U);
    void* none = this;
    EXPECT_EQ(outer.inner->QueryInterface(IID_IDataObject, &none), E_NOINTERFACE);
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_FALSE);
    outer.inner.Reset();
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK);
}

class RegisteredServer : public ::testing::Test {
protected:
    void SetUp() override {
        const LoadedModule library(Staged(L"zebshell2.dll"));
        ASSERT_EQ(library.Call("DllRegisterServer"), S_OK);
    }
    void TearDown() override {
        const LoadedModule library(Staged(L"zebshell2.dll"));
        EXPECT_EQ(library.Call("DllUnregisterServer"), S_OK);
    }
    static bool IsLoaded() { return GetModuleHandleW(L"zebshell2.dll") != nullptr; }
    SettingForTest home{L"Home Directory"};
};

TEST_F(RegisteredServer, ModuleComesAndGoes_WithItsObjects) {
    for (int round = 0; round < 20; ++round) {
        ASSERT_FALSE(IsLoaded()) << round;
        ComPtr<IContextMenu> menu;
        ASSERT_EQ(CoCreateInstance(kHandlerClass, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&menu)), S_OK);
        CoFreeUnusedLibrariesEx(0, 0);
        ASSERT_TRUE(IsLoaded()) << "an object lives";
        menu.Reset();
        CoFreeUnusedLibrariesEx(0, 0);
        CoFreeUnusedLibrariesEx(0, 0);
    }
    EXPECT_FALSE(IsLoaded());
}

TEST_F(RegisteredServer, TwoApartments_TenThousandObjectsEach_CountBackToZero) {
    const LoadedModule library(Staged(L"zebshell2.dll"));
    std::atomic<int> made{0};
    std::vector<std::thread> apartments;
    for (int i = 0; i < 2; ++i) {
        apartments.emplace_back([&] {
            if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
                return;
            }
            // One object stands while others come and go; every thousandth time there may be none at all.
            ComPtr<IShellExtInit> standing;
            for (int n = 0; n < 10000; ++n) {
                ComPtr<IShellExtInit> object;
                if (SUCCEEDED(CoCreateInstance(kHandlerClass, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&object))) &&
                    object->Initialize(nullptr, nullptr, nullptr) == E_FAIL) {
                    ++made;
                }
                if (n % 1000 == 0) {
                    standing = n % 2000 == 0 ? object : nullptr;
                }
            }
            standing.Reset();
            CoUninitialize();
        });
    }
    for (std::thread& apartment : apartments) {
        apartment.join();
    }
    EXPECT_EQ(made, 20000);
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK);
}

}  // namespace
}  // namespace tests

// COM's rules on the real library.
#include "tests/wine/ShellServer.h"

// After windows.h.
#include <gmock/gmock.h>
#include <oleauto.h>

#include <atomic>
#include <set>
#include <thread>

#include "tslib/IProtectionControl.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {
namespace {

using Microsoft::WRL::ComPtr;
using testing::AllOf;
using testing::HasSubstr;
using tsLib::platform::win32::ToWide;

class ShellServer : public ::testing::Test {
protected:
    // A lock that a test leaves is this test's failure alone: each has its own copy of the library.
    void TearDown() override { EXPECT_EQ(library.CanUnloadNow(), S_OK) << "a lock is left"; }

    Installation installation;  // without strings: the objects then load nothing, which is quicker
    ShellLibrary library{installation.PutProduct(u"zebshell2.dll")};
};

TEST_F(ShellServer, Resources_ScriptsTypeLibraryVersionAndExports) {
    const auto script = [&](WORD id) {
        const HRSRC found = FindResourceW(library.Get(), MAKEINTRESOURCEW(id), L"REGISTRY");
        return std::string(static_cast<const char*>(LockResource(LoadResource(library.Get(), found))),
                           SizeofResource(library.Get(), found));
    };
    EXPECT_THAT(script(102),
                AllOf(HasSubstr("ZEBScann.ZEBScann.1 = s 'ZEBScann Class'"), HasSubstr("ForceRemove Programmable"),
                      HasSubstr("{150C8EB1-BDDF-11D1-82D7-00A0C9749EEF} = s 'ZEBScann Class'")));
    // The case of the key's name is part of the script: the registry itself compares without it.
    const std::string own = script(101);
    std::string cases;
    for (std::size_t at = 0; (at = own.find("hellex\n", at)) != std::string::npos; ++at) {
        cases += own[at - 1];
    }
    EXPECT_EQ(cases, "SSSs");
    EXPECT_NE(FindResourceW(library.Get(), MAKEINTRESOURCEW(1), RT_VERSION), nullptr);
    // The four exports have no decoration, or no test would find them, and there are no others.
    const auto* base = reinterpret_cast<const BYTE*>(library.Get());
    const auto* nt =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const DWORD exports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
    EXPECT_EQ(reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + exports)->NumberOfFunctions, 4U);
}

TEST_F(ShellServer, TypeLibrary_DescribesWhatItAlwaysDid) {
    ComPtr<ITypeLib> types;
    ASSERT_EQ(LoadTypeLibEx(ToWide(installation.Folder() + u"zebshell2.dll"), REGKIND_NONE, &types), S_OK);
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
    // 3 is an interface, 4 one for dispatch, 5 a class.
    const std::set<std::wstring> expected{
        L"ZEBSHELL2Lib, zebshell2 1.0 Type Library",
        L"ZebshellEx, ZebshellEx Class, {6F952B5E-BCEE-11D1-82D6-00A0C9749EEF}, 5",
        L"IZebshellEx, IZebshellEx Interface, {6F952B5D-BCEE-11D1-82D6-00A0C9749EEF}, 3",
        L"ZEBScann, ZEBScann Class, {150C8EB1-BDDF-11D1-82D7-00A0C9749EEF}, 5",
        L"IZEBScann, IZEBScann Interface, {150C8EB0-BDDF-11D1-82D7-00A0C9749EEF}, 4, dual"};
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
    EXPECT_EQ(library.GetClassObject(HVR::kHandlerClassId, IID_IContextMenu, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(library.GetClassObject(HVR::kHandlerClassId, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(library.ClassObject().Get(), library.ClassObject().Get()) << "made once and kept";
}

TEST_F(ShellServer, LocksObjectsAndFactories_KeepTheModule) {
    auto factory = library.ClassObject();
    EXPECT_EQ(library.CanUnloadNow(), S_FALSE);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    IClassFactory* raw = factory.Get();
    factory.Reset();
    EXPECT_EQ(library.CanUnloadNow(), S_FALSE) << "locked";
    EXPECT_EQ(raw->LockServer(FALSE), S_OK);
    EXPECT_EQ(library.CanUnloadNow(), S_OK);

    const auto menu = library.NewHandler<IContextMenu>();
    EXPECT_EQ(library.CanUnloadNow(), S_FALSE) << "an object lives";
    EXPECT_EQ(raw->LockServer(FALSE), E_UNEXPECTED) << "not the object's lock";
    EXPECT_EQ(library.CanUnloadNow(), S_FALSE);
}

// Each export says something to a debugger while it runs, since there are no strings.
TEST_F(ShellServer, ExportsUnderWay_KeepTheModule) {
    IClassFactory* const factory = library.ClassObject().Get();  // which nobody holds: it lives as long as the module
    ComPtr<IUnknown> made;
    const std::pair<const char*, std::function<HRESULT()>> exports[] = {
        {"DllRegisterServer", [&] { return library.Call("DllRegisterServer"); }},
        {"DllUnregisterServer", [&] { return library.Call("DllUnregisterServer"); }},
        {"CreateInstance", [&] { return factory->CreateInstance(nullptr, IID_PPV_ARGS(&made)); }},
    };
    for (const auto& [name, run] : exports) {
        std::set<HRESULT> answers;
        const DebugTexts texts([&] { std::thread([&] { answers.insert(library.CanUnloadNow()); }).join(); });
        EXPECT_EQ(run(), S_OK) << name;
        EXPECT_EQ(answers, std::set<HRESULT>{S_FALSE}) << name;
    }
}

TEST_F(ShellServer, QueryInterface_FromEachToEach_OneIdentity) {
    const IID ids[] = {IID_IUnknown, IID_IShellExtInit, IID_IContextMenu, IID_IShellPropSheetExt};
    const auto object = library.NewHandler<IUnknown>();
    for (const IID& from : ids) {
        ComPtr<IUnknown> start;
        ASSERT_EQ(object->QueryInterface(from, reinterpret_cast<void**>(start.GetAddressOf())), S_OK);
        for (const IID& to : ids) {
            ComPtr<IUnknown> end;
            ComPtr<IUnknown> same;
            ASSERT_EQ(start->QueryInterface(to, reinterpret_cast<void**>(end.GetAddressOf())), S_OK);
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
    const auto factory = library.ClassObject();
    void* object = this;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IDataObject, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    TestDataObject outer("");
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
    ASSERT_EQ(library.ClassObject()->CreateInstance(&outer, IID_PPV_ARGS(&outer.inner)), S_OK);
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
    EXPECT_EQ(library.CanUnloadNow(), S_FALSE);
}

// Two apartments make and release handlers of the registered library: it comes with the first one, loads strings and
// the verified control component, and goes when it is asked to between two objects.
TEST(RegisteredServer, TwoApartments_ComponentsAndStringsComeAndGoWithTheModule) {
    Installation installation;
    const std::u16string path = installation.PutProduct(u"zebshell2.dll");
    installation.PutProduct(u"tsVrTrst.dll");
    installation.PutStrings(Staged(u"res\\1033\\ZebShellRes.dll"), u"1033");
    installation.PutObject(tsLib::OBJID_QrtControl, installation.PutSample(u"component.dll"));
    const VariableForTest protection(kProtectionVariable, u"-");
    const auto ask = [&](const char* name) {
        const LoadedModule library(path);
        EXPECT_EQ(library.Call(name), S_OK);
        EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK);
    };
    ask("DllRegisterServer");
    std::atomic<int> items{0};
    const auto apartment = [&] {
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
        for (int i = 0; i < 50; ++i) {
            ComPtr<IContextMenu> menu;
            if (SUCCEEDED(CoCreateInstance(HVR::kHandlerClassId, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&menu)))) {
                const HMENU popup = CreatePopupMenu();
                items += menu->QueryContextMenu(popup, 0, 1, 2, 0);
                DestroyMenu(popup);
            }
            menu.Reset();
            CoFreeUnusedLibrariesEx(0, 0);
        }
        CoUninitialize();
    };
    std::thread other(apartment);
    apartment();
    other.join();
    EXPECT_EQ(items, 100);
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_FALSE(IsLoaded(path));
    EXPECT_FALSE(IsLoaded(installation.Folder() + u"component.dll"));
    ask("DllUnregisterServer");
    // Suspended and resumed once for each load, however many there were.
    std::wstring seen = VariableText(kProtectionVariable).substr(1);
    EXPECT_GE(seen.size(), 4U);
    while (seen.ends_with(L"DE")) {
        seen.resize(seen.size() - 2);
    }
    EXPECT_EQ(seen, L"");
}

}  // namespace
}  // namespace tests

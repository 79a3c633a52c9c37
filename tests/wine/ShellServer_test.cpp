// COM's rules on the real library.
#include "tests/wine/ShellServer.h"

#include <set>
#include <thread>

namespace tests {
namespace {

struct ShellServer : testing::Test {
    Installation installation;  // without strings: the objects then load nothing, which is quicker
    ShellLibrary library{installation.PutProduct(u"zebshell2.dll")};
};

TEST_F(ShellServer, TypeLibraryAndResources_AreThereAsTheyAlwaysWere) {
    ComPtr<ITypeLib> types;
    ASSERT_EQ(LoadTypeLibEx(ToWide(installation.Folder() + u"zebshell2.dll"), REGKIND_NONE, &types), S_OK);
    EXPECT_EQ(types->GetTypeInfoCount(), 4U);
    for (const auto& [text, expected] : {std::pair(L"{6F952B5E-BCEE-11D1-82D6-00A0C9749EEF}", TKIND_COCLASS),
                                         std::pair(L"{6F952B5D-BCEE-11D1-82D6-00A0C9749EEF}", TKIND_INTERFACE),
                                         std::pair(L"{150C8EB1-BDDF-11D1-82D7-00A0C9749EEF}", TKIND_COCLASS),
                                         std::pair(L"{150C8EB0-BDDF-11D1-82D7-00A0C9749EEF}", TKIND_DISPATCH)}) {
        GUID id{};
        ComPtr<ITypeInfo> info;
        TYPEATTR* type = nullptr;
        ASSERT_TRUE(SUCCEEDED(CLSIDFromString(text, &id)) && SUCCEEDED(types->GetTypeInfoOfGuid(id, &info)) &&
                    SUCCEEDED(info->GetTypeAttr(&type)));
        EXPECT_EQ(type->typekind, expected);
        info->ReleaseTypeAttr(type);
    }
    EXPECT_NE(FindResourceW(library.Get(), MAKEINTRESOURCEW(102), L"REGISTRY"), nullptr);
    EXPECT_NE(FindResourceW(library.Get(), MAKEINTRESOURCEW(1), RT_VERSION), nullptr);
}

TEST_F(ShellServer, Refusals_LeaveNothing) {
    const auto factory = library.ClassObject();
    TestDataObject outer;
    const std::pair<HRESULT, std::function<HRESULT(void**)>> rows[] = {
        {CLASS_E_CLASSNOTAVAILABLE, [&](void** to) { return library.GetClassObject({}, IID_IClassFactory, to); }},
        {E_NOINTERFACE, [&](void** to) { return library.GetClassObject(HVR::kHandlerClassId, IID_IDataObject, to); }},
        {E_NOINTERFACE, [&](void** to) { return factory->CreateInstance(nullptr, IID_IDataObject, to); }},
        {CLASS_E_NOAGGREGATION, [&](void** to) { return factory->CreateInstance(&outer, IID_IContextMenu, to); }},
        {E_NOINTERFACE, [&](void** to) { return library.NewHandler<IUnknown>()->QueryInterface(IID_IDataObject, to); }},
    };
    for (const auto& [result, ask] : rows) {
        void* object = this;
        EXPECT_EQ(ask(&object), result);
        EXPECT_EQ(object, nullptr);
        EXPECT_EQ(ask(nullptr), E_POINTER);
    }
    EXPECT_EQ(outer.references, 1U);
}

// Each export says something to a debugger while it runs, since there are no strings.
TEST_F(ShellServer, FactoriesLocksAndExportsUnderWay_KeepTheModule) {
    auto held = library.ClassObject();
    EXPECT_EQ(library.CanUnloadNow(), S_FALSE);
    EXPECT_EQ(held->LockServer(TRUE), S_OK);
    IClassFactory* const factory = held.Get();
    held.Reset();  // lives as long as the module
    EXPECT_EQ(library.CanUnloadNow(), S_FALSE) << "locked";
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    EXPECT_EQ(library.CanUnloadNow(), S_OK);
    ComPtr<IUnknown> made;
    const std::pair<const char*, std::function<HRESULT()>> exports[] = {
        {"DllRegisterServer", [&] { return library.Call("DllRegisterServer"); }},
        {"DllUnregisterServer", [&] { return library.Call("DllUnregisterServer"); }},
        {"CreateInstance", [&] { return factory->CreateInstance(nullptr, IID_PPV_ARGS(&made)); }},
    };
    for (const auto& [name, run] : exports) {
        std::set<HRESULT> answers;
        ShellLibrary::onDebugText = [&] { std::thread([&] { answers.insert(library.CanUnloadNow()); }).join(); };
        EXPECT_EQ(run(), S_OK) << name;
        ShellLibrary::onDebugText = nullptr;
        EXPECT_EQ(answers, std::set<HRESULT>{S_FALSE}) << name;
    }
}

TEST_F(ShellServer, QueryInterface_FromEachToEach_OneIdentity) {
    const IID ids[] = {IID_IUnknown, IID_IShellExtInit, IID_IContextMenu, IID_IShellPropSheetExt};
    const auto object = library.NewHandler<IUnknown>();
    for (const IID& from : ids) {
        for (const IID& to : ids) {
            ComPtr<IUnknown> start;
            ComPtr<IUnknown> end;
            ComPtr<IUnknown> identity;
            ASSERT_EQ(object->QueryInterface(from, reinterpret_cast<void**>(start.GetAddressOf())), S_OK);
            ASSERT_EQ(start->QueryInterface(to, reinterpret_cast<void**>(end.GetAddressOf())), S_OK);
            ASSERT_EQ(end.As(&identity), S_OK);
            EXPECT_EQ(identity.Get(), object.Get());
        }
    }
    object->AddRef();
    EXPECT_EQ(object->Release(), 1U);
}

TEST_F(ShellServer, Aggregated_TheOuterObjectCountsAndAnswers) {
    TestDataObject outer;
    ComPtr<IUnknown> inner;
    ASSERT_EQ(library.ClassObject()->CreateInstance(&outer, IID_PPV_ARGS(&inner)), S_OK);
    EXPECT_EQ(outer.references, 1U) << "the inner object does not hold the outer one";
    {
        ComPtr<IUnknown> same;
        ComPtr<IContextMenu> menu;
        ComPtr<IDataObject> others;
        ASSERT_TRUE(inner.As(&same) == S_OK && inner.As(&menu) == S_OK);
        EXPECT_EQ(same.Get(), inner.Get()) << "the inner unknown answers for itself";
        EXPECT_EQ(outer.references, 2U);
        EXPECT_EQ(menu.As(&others), S_OK) << "the outer object is asked";
        EXPECT_EQ(outer.references, 3U);
    }
    EXPECT_EQ(outer.references, 1U);
    EXPECT_EQ(library.CanUnloadNow(), S_FALSE);
}

}  // namespace
}  // namespace tests

// What services throw does not leave the handler's entry points.
#include <windows.h>
// After windows.h.
#include <objbase.h>
#include <shlobj.h>

#include <new>

#include "shellext/server/CZebshellEx.h"
#include "tests/fakes/FakeNarrowCharacters.h"
#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FakeTrace.h"
#include "tests/wine/ShellServer.h"

namespace tests {
namespace {

using Microsoft::WRL::ComPtr;

// Services that throw what they are told to, whoever asks them.
struct ThrowingServices final : HVR::MenuStrings, HVR::Apartment, HVR::SelectionScanner, tsLib::platform::MessageBoxes {
    [[noreturn]] void Throw() const {
        if (memory) {
            throw std::bad_alloc();
        }
        throw 1;
    }
    std::u16string Load(std::uint32_t) override { Throw(); }
    std::string LoadNarrow(std::uint32_t) override { Throw(); }
    void Enter() noexcept override {}
    void Leave() noexcept override {}
    tsLib::HResult Scan(HVR::DropHandle) override { Throw(); }
    void ShowError(const std::u16string&, const std::u16string*) noexcept override {}
    bool memory = true;
};

TEST(ShellBoundary, ThrowingServices_NoExceptionLeavesAnEntryPoint) {
    ThrowingServices throwing;
    FakeRegistry registry;
    registry.PutValue(tsLib::platform::RegistryRoot::LocalMachine, u"Software\\Corvane\\Halvora\\AV", u"Orientation",
                      DwordValue(1));
    FakeTrace trace;
    const FakeNarrowCharacters characters;
    HVR::ModuleLock lock;
    HVR::CRefCountedResourceLoader resources(nullptr, false, tsLib::Tracer(trace));
    const HVR::CZebshellEx::Services services{
        {throwing, characters, registry, throwing, throwing, tsLib::Tracer(trace)}, resources, throwing, lock};
    ComPtr<IContextMenu> menu;
    ASSERT_EQ(
        HVR::CZebshellEx::Create(services, nullptr, IID_IContextMenu, reinterpret_cast<void**>(menu.GetAddressOf())),
        S_OK);
    CMINVOKECOMMANDINFO information{};
    information.cbSize = sizeof(information);
    char buffer[8] = {};
    for (const bool memory : {true, false}) {
        throwing.memory = memory;
        const HRESULT expected = memory ? E_OUTOFMEMORY : E_FAIL;
        EXPECT_EQ(menu->QueryContextMenu(nullptr, 0, 1, 2, 0), expected);
        EXPECT_EQ(menu->GetCommandString(0, GCS_HELPTEXTA, nullptr, buffer, 8), expected);
        EXPECT_EQ(menu->GetCommandString(0, GCS_HELPTEXTW, nullptr, buffer, 4), expected);
        EXPECT_EQ(menu->InvokeCommand(&information), memory ? E_OUTOFMEMORY : E_UNEXPECTED);
    }
    menu.Reset();
    EXPECT_FALSE(lock.IsHeld());
}

}  // namespace
}  // namespace tests

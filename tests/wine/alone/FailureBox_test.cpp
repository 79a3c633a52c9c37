// The box about missing strings, in a process of its own: it is told once in one.
#include <thread>

#include "tests/wine/ShellServer.h"

namespace tests {
namespace {

// Wine has no text of the code for a missing file.
DWORD WINAPI TellAnyFailure(DWORD flags, const void* source, DWORD id, DWORD language, wchar_t* buffer, DWORD size,
                            va_list* arguments) {
    const bool isSystems = (flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0;
    return isSystems ? FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING, L"%%1 is missing", 0,
                                      0, buffer, 0, nullptr)
                     : FormatMessageW(flags, source, id, language, buffer, size, arguments);
}

TEST(FailureBox, IsUpOnce_WhileAnotherThreadsWindowGoesOn_AndNeverForARegistration) {
    Installation installation;  // without strings
    const ShellLibrary library(installation.PutProduct(u"zebshell2.dll"));
    const ImportPatch texts(library.Get(), &FormatMessageW, &TellAnyFailure);
    EXPECT_EQ(library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(library.Call("DllUnregisterServer"), S_OK);
    EXPECT_TRUE(ShellLibrary::boxes.empty());

    const tsLib::platform::win32::UniqueKernelHandle hasGoneOn(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread other;
    ShellLibrary::onBox = [&] {
        other = std::thread([&] {
            EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
            const HWND window =
                CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
            MSG message{};
            EXPECT_TRUE(PostMessageW(window, WM_APP, 0, 0));
            EXPECT_EQ(MenuItem(*library.NewHandler<IContextMenu>().Get()), L"");
            EXPECT_TRUE(GetMessageW(&message, window, WM_APP, WM_APP));
            DestroyWindow(window);
            CoUninitialize();
            SetEvent(hasGoneOn.Get());
        });
        EXPECT_EQ(WaitForSingleObject(hasGoneOn.Get(), 10000), WAIT_OBJECT_0) << "it waits for the box";
    };
    EXPECT_EQ(MenuItem(*library.NewHandler<IContextMenu>().Get()), L"");
    EXPECT_EQ(MenuItem(*library.NewHandler<IContextMenu>().Get()), L"");
    ASSERT_EQ(ShellLibrary::boxes.size(), 1U);
    EXPECT_EQ(ShellLibrary::boxes[0].second, L"ZebShellRes.dll is missing");
    other.join();
    ShellLibrary::onBox = nullptr;
}

}  // namespace
}  // namespace tests

// A component module that keeps to none of the rules. It leaves a mark where it is loaded, and does what the variable
// says: "crash", "factory throws", "no factory", "object throws", "no object"; anything else is a failure.
#include <windows.h>

#include <new>
#include <string>

#include "tslib/IVaneBaseImpl.h"
#include "tslib/tsVaneModuleFactory.h"

namespace {

using tsLib::VaneResult;

std::wstring Told() {
    wchar_t text[64] = {};
    GetEnvironmentVariableW(L"HALVORA_TEST_HOSTILE", text, 64);
    return text;
}

void Crash() {
    static int* volatile nowhere = nullptr;
    *nowhere = 1;  // the line that scripts/check-symbols.sh asks for
}

struct CFactory : tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IFactory, tsLib::kIFactoryId> {
    VaneResult CreateInstance(const tsLib::InterfaceId&, void**) override {
        return Told() == L"no object" ? VaneResult::Success : throw std::bad_alloc();
    }
};

}  // namespace

extern "C" __declspec(dllexport) VaneResult GetFactory(const tsLib::ObjectId&, tsLib::IFactory** factory) {
    const std::wstring told = Told();
    if (told == L"crash") {
        Crash();
    }
    if (told == L"factory throws") {
        throw 1;
    }
    if (told == L"object throws" || told == L"no object") {
        *factory = new CFactory;
    }
    return *factory != nullptr || told == L"no factory" ? VaneResult::Success : VaneResult::InternalFailure;
}

extern "C" __declspec(dllexport) std::uint32_t GetObjectCount() { return 0; }

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        SetEnvironmentVariableW(L"HALVORA_TEST_HOSTILE_LOADED", L"yes");
    }
    return TRUE;
}

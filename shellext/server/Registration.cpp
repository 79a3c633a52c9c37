#include "shellext/server/Registration.h"

#include <oleauto.h>
#include <wrl/client.h>

#include <string_view>

#include "shellext/RegistryScriptRunner.h"
#include "shellext/server/ComResult.h"
#include "tslib/Utf8.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR {

using tsLib::FromSystemError;
using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::platform::SystemError;
using tsLib::platform::win32::ToWide;

HResult Registration::ModulePath(std::u16string& path) {
    constexpr std::size_t kLongestPath = 0x8000;
    SystemError error = SystemError::InsufficientBuffer;
    for (std::size_t capacity = 512; error == SystemError::InsufficientBuffer && capacity <= kLongestPath;
         capacity *= 4) {
        error = platform_.modules.FileName(platform_.modules.Own(), capacity, path);
    }
    return FromSystemError(error);
}

bool Registration::ScriptText(WORD id, std::u16string& text) {
    const HRSRC found = FindResourceW(resources_, MAKEINTRESOURCEW(id), L"REGISTRY");
    const HGLOBAL loaded = found == nullptr ? nullptr : LoadResource(resources_, found);
    const void* bytes = loaded == nullptr ? nullptr : LockResource(loaded);
    return bytes != nullptr &&
           tsLib::FromUtf8({static_cast<const char*>(bytes), SizeofResource(resources_, found)}, text);
}

HResult Registration::RunScript(WORD id, bool remove) {
    std::u16string text;
    if (!ScriptText(id, text)) {
        tracer_.Error(TraceEvent::ScriptUnread, id);
        return HResult::Fail;
    }
    std::u16string module;
    if (const HResult result = ModulePath(module); Failed(result)) {
        return result;
    }
    const ScriptReplacement replacement[] = {{u"MODULE", module}};
    ScriptProblem problem;
    const auto script = ParseRegistryScript(text, replacement, problem);
    if (!script) {
        tracer_.Error(TraceEvent::ScriptMalformed, problem.line, static_cast<std::uint32_t>(problem.fault));
        return HResult::Fail;
    }
    RegistryScriptRunner runner(platform_.registry, platform_.trace);
    return FromSystemError(remove ? runner.Remove(*script) : runner.Register(*script));
}

HResult Registration::RegisterTypeLibrary() {
    std::u16string module;
    if (const HResult result = ModulePath(module); Failed(result)) {
        return result;
    }
    Microsoft::WRL::ComPtr<ITypeLib> library;
    HRESULT result = LoadTypeLibEx(ToWide(module), REGKIND_NONE, &library);
    if (SUCCEEDED(result)) {
        std::u16string directory = module.substr(0, module.find_last_of(u'\\'));
        result = RegisterTypeLib(library.Get(), ToWide(module.data()), ToWide(directory.data()));
    }
    if (FAILED(result)) {
        tracer_.Error(TraceEvent::TypeLibraryUnwritten, FromCom(result));
    }
    return FromCom(result);
}

}  // namespace HVR

// zebdiag: looks at a Halvora installation from a support engineer's side.
#include <windows.h>

#include <vector>

#include "composition/ProductRuntime.h"
#include "tools/zebdiag/MenuVerb.h"
#include "tools/zebdiag/ObjectVerbs.h"
#include "tools/zebdiag/PageHost_win32.h"
#include "tools/zebdiag/PageVerb.h"
#include "tools/zebdiag/PathVerbs.h"
#include "tools/zebdiag/ScanVerb.h"
#include "tools/zebdiag/ShellMenu_win32.h"
#include "tools/zebdiag/Verb.h"
#include "tools/zebdiag/VerifyVerb.h"
#include "tools/zebdiag/Win32Runners.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32ProtectionCounter.h"

namespace {

using namespace HVR;
using namespace HVR::zebdiag;
using tsLib::platform::win32::Win32TraceOutput;

// --trace anywhere before "--" shows all trace records on stderr.
void EnableTrace(Win32TraceOutput& trace, const std::vector<std::u16string>& arguments, Win32Console& console) {
    for (const std::u16string& argument : arguments) {
        if (argument == u"--") {
            return;
        }
        if (argument == u"--trace") {
            trace.SetSink(
                [](void* context, std::u16string_view line) {
                    try {
                        while (line.ends_with(u'\n') || line.ends_with(u'\r')) {
                            line.remove_suffix(1);
                        }
                        static_cast<Win32Console*>(context)->Err(Utf8(line));
                    } catch (...) {  // a record that memory cannot hold is not shown
                    }
                },
                &console);
            trace.Enable(true, tsLib::platform::TraceLevel::Verbose);
            return;
        }
    }
}

tsLib::HResult ResolvePath(ProductRuntime& runtime, std::uint32_t kind, const std::u16string& file,
                           std::u16string& path) {
    IProductInstallPathResolver* made = nullptr;
    if (const tsLib::HResult result = runtime.PathResolvers().Create(made); tsLib::Failed(result)) {
        return result;
    }
    const tsLib::VaneRef<IProductInstallPathResolver> resolver(made);
    char16_t* text = nullptr;
    const tsLib::HResult result = resolver->GetPath(kind, file.c_str(), &text, 0);
    if (tsLib::Succeeded(result)) {
        path = text;
        runtime.Platform().memory.Free(text);
    }
    return result;
}

}  // namespace

int wmain(int count, wchar_t** values) {
    std::vector<std::u16string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.emplace_back(tsLib::platform::win32::FromWide(values[i]));
    }
    Win32Console console;
    ProductRuntime& runtime = ProductRuntime::Instance();
    EnableTrace(runtime.Platform().trace, arguments, console);
    Win32VerifyTargets targets(runtime);

    const Expander expand = [&](const std::u16string& text, std::u16string& expanded) {
        return runtime.PathExpansion().Expand(text, expanded);
    };

    const std::vector<Verb> verbs{
        MakeVerifyVerb(runtime.TrustVerifiers(), targets),
        MakeExpandVerb(expand),
        MakePathVerb([&](std::uint32_t kind, const std::u16string& file, std::u16string& path) {
            return ResolvePath(runtime, kind, file, path);
        }),
        MakeScanVerb([&](const std::vector<std::u16string>& paths,
                         std::optional<std::uint32_t> waitSeconds) { return Win32Scan(runtime, paths, waitSeconds); },
                     Win32FullPath),
        MakeMenuVerb(
            [&](const std::vector<std::u16string>& paths) { return MakeWin32ShellMenu(runtime.Platform(), paths); },
            Win32FullPath),
        MakePageVerb([&](bool show, const std::function<void()>& onShown) {
            return RunDisplaySheet(runtime.Platform(), show, onShown);
        }),
        MakeObjectsVerb([&](std::vector<KnownObject>& objects) { return Win32Objects(runtime, objects); }, expand,
                        runtime.TrustVerifiers(), runtime.Platform().moduleLoader),
        MakeCreateVerb([&](const tsLib::ObjectId& objectId, const tsLib::InterfaceId& interfaceId,
                           tsLib::VaneRef<tsLib::IVaneBase>& object) {
            return runtime.Components().Create(objectId, interfaceId, object);
        }),
        MakeProtectionVerb([](std::uint32_t& suspensions) {
            return tsLib::platform::win32::Win32ProtectionCounter().Read(suspensions);
        }),
    };
    return static_cast<int>(Dispatch(verbs, arguments, console));
}

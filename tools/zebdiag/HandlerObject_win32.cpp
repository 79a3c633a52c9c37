#include "tools/zebdiag/HandlerObject_win32.h"

#include <cstring>
#include <stdexcept>

#include "tslib/platform/win32/WideText.h"

namespace HVR::zebdiag {

using tsLib::platform::win32::ToWide;

namespace {

CLSID ToClsid(const tsLib::Guid& guid) {
    CLSID clsid{};
    static_assert(sizeof(clsid) == sizeof(guid));
    std::memcpy(&clsid, &guid, sizeof(clsid));
    return clsid;
}

std::u16string ServerModule(const tsLib::Guid& clsid) {
    const std::u16string key = u"CLSID\\" + tsLib::ToText(clsid) + u"\\InprocServer32";
    std::u16string path(1024, u'\0');
    auto bytes = static_cast<DWORD>(path.size() * sizeof(char16_t));
    if (RegGetValueW(HKEY_CLASSES_ROOT, ToWide(key), nullptr, RRF_RT_REG_SZ, nullptr, path.data(), &bytes) !=
        ERROR_SUCCESS) {
        return {};
    }
    path.resize(path.find(u'\0'));
    return path;
}

}  // namespace

ShellApartment::ShellApartment() {
    const HRESULT result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    if (FAILED(result)) {
        throw std::runtime_error("COM cannot be initialised: " + Hexadecimal(static_cast<std::uint32_t>(result)));
    }
}

bool HandlerObject::Step(const char* name, HRESULT result) {
    if (FAILED(result) && asked.TakesPart()) {
        asked.result = static_cast<tsLib::HResult>(result);
        asked.step = name;
    }
    return SUCCEEDED(result);
}

HandlerObject CreateHandler(const RegisteredHandler& registration) {
    HandlerObject handler;
    handler.asked.registration = registration;
    if (!registration.clsid) {
        handler.Step("reading the class id", REGDB_E_CLASSNOTREG);
        return handler;
    }
    handler.module = ServerModule(*registration.clsid);
    // Not Attach: this toolchain's adds a reference.
    if (handler.Step("CoCreateInstance", CoCreateInstance(ToClsid(*registration.clsid), nullptr, CLSCTX_INPROC_SERVER,
                                                          IID_PPV_ARGS(handler.object.GetAddressOf())))) {
        handler.Step("asking for IShellExtInit", handler.object.As(&handler.initializer));
    }
    return handler;
}

std::vector<std::u16string> UnloadModules(const std::vector<std::u16string>& modules) {
    CoFreeUnusedLibraries();
    std::vector<std::u16string> loaded;
    for (const std::u16string& module : modules) {
        if (!module.empty() && GetModuleHandleW(ToWide(module)) != nullptr) {
            loaded.push_back(module);
        }
    }
    return loaded;
}

}  // namespace HVR::zebdiag

// The class object of the handler.
#pragma once

#include <windows.h>
// After windows.h.
#include <unknwn.h>

#include "shellext/ModuleLock.h"

namespace HVR {

// One for the module, alive as long as it is. Any thread.
class ClassFactory final : public IClassFactory {
public:
    // Makes an object: CZebshellEx::Create with the process's services.
    using Creator = HRESULT (*)(IUnknown* outer, REFIID interfaceId, void** object);

    constexpr ClassFactory(ModuleLock& module, Creator create) noexcept : locks_(module), create_(create) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return locks_.AddReference(); }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return locks_.ReleaseReference(); }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID interfaceId, void** object) noexcept override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override;

private:
    FactoryLocks locks_;
    Creator create_;
};

}  // namespace HVR

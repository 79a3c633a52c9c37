#include "shellext/server/ClassFactory.h"

#include "shellext/server/ComResult.h"

namespace HVR {

using tsLib::HResult;

HRESULT ClassFactory::QueryInterface(REFIID interfaceId, void** object) noexcept {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (!IsEqualIID(interfaceId, IID_IUnknown) && !IsEqualIID(interfaceId, IID_IClassFactory)) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<IClassFactory*>(this);
    return S_OK;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID interfaceId, void** object) noexcept {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    return EntryPoint(HResult::Fail, [&] { return FromCom(create_(outer, interfaceId, object)); });
}

HRESULT ClassFactory::LockServer(BOOL lock) noexcept { return ToCom(locks_.LockServer(lock != FALSE)); }

}  // namespace HVR

// The product's page provider as a COM object.
#pragma once

#include <windows.h>

#include "shellext/ModuleLock.h"
#include "shellext/server/IPageProvider.h"

namespace HVR {

// Makes the "Halvora" page. Used on the thread that made it; holds a lock of its module, and so does every page until
// the sheet releases it.
class PageProvider final : public IPageProvider {
public:
    // As IClassFactory::CreateInstance asks: no aggregation, null on failure. Throws std::bad_alloc only.
    static HRESULT Create(IUnknown* outer, REFIID interfaceId, void** object);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override;
    ULONG STDMETHODCALLTYPE Release() noexcept override;
    HRESULT STDMETHODCALLTYPE MakePage(UINT mode, HPROPSHEETPAGE* page) noexcept override;

private:
    PageProvider() noexcept;
    ~PageProvider();

    ULONG references_ = 1;
};

}  // namespace HVR

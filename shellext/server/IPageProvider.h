// What the handler asks of the product's page provider.
#pragma once

#include <windows.h>
// After windows.h.
#include <prsht.h>
#include <unknwn.h>

namespace HVR {

// Interface {4DEF8DD2-C4D1-11D1-82DA-00A0C9749EEF}. The order of its operations is a contract between modules.
class IPageProvider : public IUnknown {
public:
    // Makes a property page: 1 for the properties of a selection, 2 for a control panel. With S_OK the page is the
    // caller's; every other answer is no page.
    virtual HRESULT STDMETHODCALLTYPE MakePage(UINT mode, HPROPSHEETPAGE* page) = 0;

protected:
    ~IPageProvider() = default;
};

}  // namespace HVR

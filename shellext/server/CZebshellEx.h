// The object that the shell talks to.
#pragma once

#include <windows.h>
// After windows.h.
#include <shlobj.h>

#include "resources/RefCountedResourceLoader.h"
#include "resources/ResourceInstance.h"
#include "shellext/MenuCommand.h"
#include "shellext/ModuleLock.h"
#include "shellext/ScanRequest.h"

namespace HVR {

// What all handler objects of a process share. It and what it refers to outlive them all.
struct HandlerContext {
    const tsLib::platform::Platform& platform;
    const ResourceInstance& instance;
    CRefCountedResourceLoader& resources;
    ShellSurface& shell;
    ScanRequest& scan;
    ModuleLock& module;
};

// A reference on the shared resource loader.
class ResourceReference {
public:
    // What the loader answers does not matter: without strings there is no menu item, and no more.
    explicit ResourceReference(CRefCountedResourceLoader& loader) noexcept : loader_(loader) { loader_.Acquire(); }
    ~ResourceReference() { loader_.Release(); }
    ResourceReference(const ResourceReference&) = delete;
    ResourceReference& operator=(const ResourceReference&) = delete;

private:
    CRefCountedResourceLoader& loader_;
};

// Thin: what it decides is in MenuCommand. Used on the thread that made it. It holds a lock of the module while it
// lives.
//
// The order of the base classes and of the virtual operations is fixed: Scan stands behind IShellExtInit's operations
// in the table of the primary interface, so it is declared before everything that overrides the other interfaces.
class CZebshellEx final : public IShellExtInit, public IContextMenu, public IShellPropSheetExt {
public:
    // The asked interface of a new object, aggregated when `outer` is set: then only IUnknown may be asked for, or the
    // answer is CLASS_E_NOAGGREGATION. `object` is null on failure. Throws std::bad_alloc only.
    static HRESULT Create(const HandlerContext& context, IUnknown* outer, REFIID interfaceId, void** object);

    CZebshellEx(const CZebshellEx&) = delete;
    CZebshellEx& operator=(const CZebshellEx&) = delete;

    // Those of the controlling object.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override;
    ULONG STDMETHODCALLTYPE Release() noexcept override;

    HRESULT STDMETHODCALLTYPE Initialize(PCIDLIST_ABSOLUTE folder, IDataObject* dataObject,
                                         HKEY programId) noexcept override;

    // Scans the selection that Initialize took. Virtual as part of the interface, although nothing derives from here.
    virtual HRESULT STDMETHODCALLTYPE Scan() noexcept;

    HRESULT STDMETHODCALLTYPE QueryContextMenu(HMENU menu, UINT position, UINT firstId, UINT lastId,
                                               UINT flags) noexcept override;
    HRESULT STDMETHODCALLTYPE InvokeCommand(CMINVOKECOMMANDINFO* information) noexcept override;
    HRESULT STDMETHODCALLTYPE GetCommandString(UINT_PTR commandId, UINT type, UINT* reserved, CHAR* buffer,
                                               UINT capacity) noexcept override;

    HRESULT STDMETHODCALLTYPE AddPages(LPFNADDPROPSHEETPAGE addPage, LPARAM parameter) noexcept override;
    HRESULT STDMETHODCALLTYPE ReplacePage(EXPPS pageId, LPFNADDPROPSHEETPAGE replacePage,
                                          LPARAM parameter) noexcept override;

private:
    // The object's own IUnknown, which an outer object holds.
    class Inner final : public IUnknown {
    public:
        explicit Inner(CZebshellEx& object) noexcept : object_(object) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) noexcept override;
        ULONG STDMETHODCALLTYPE AddRef() noexcept override;
        ULONG STDMETHODCALLTYPE Release() noexcept override;

    private:
        CZebshellEx& object_;
    };

    CZebshellEx(const HandlerContext& context, IUnknown* outer) noexcept;
    ~CZebshellEx() = default;

    [[nodiscard]] IUnknown* Identity() noexcept;

    ULONG references_ = 0;
    ResourceReference resources_;
    MenuCommand command_;
    IUnknown* outer_;  // not counted, as an inner object must not; null when stand-alone
    Inner inner_{*this};
    const HandlerContext& context_;
};

}  // namespace HVR

// The factory cache: one factory for each loaded component module.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "tslib/Tracer.h"
#include "tslib/TrustResult.h"
#include "tslib/TrustVerifiers.h"
#include "tslib/platform/Locks.h"
#include "tslib/platform/Platform.h"
#include "tslib/tsVaneModuleFactory.h"

namespace tsLib {

// One instance per process. Modules stay loaded until it is destroyed, so that factories and the objects made by them
// can be used at any time. Any thread. No operation throws.
//
// A module is loaded under the cache's exclusive lock. Its start-up code (DllMain, static objects) must therefore never
// ask for a component: it would wait for that lock for ever. Its entry points are called without any lock and may.
class tsInstanceFactory {
public:
    tsInstanceFactory(const platform::Platform& platform, TrustVerifiers& verifiers) noexcept
        : platform_(platform), verifiers_(verifiers), tracer_(platform.trace) {}
    tsInstanceFactory(const tsInstanceFactory&) = delete;
    tsInstanceFactory& operator=(const tsInstanceFactory&) = delete;
    // Frees the modules, except those that still have live objects or locks: they stay loaded.
    ~tsInstanceFactory();

    // Says by the name of a file that is held whether it may be loaded. Called under the cache's exclusive lock.
    using Rule = std::function<VaneResult(const char16_t* name)>;

    // The factory of the module at a full path, which is loaded on first use. The factory belongs to the cache. A file
    // that is not loaded yet is held, and the rule is asked; what it refuses with is the result.
    //   InvalidArgument    a null path or place
    //   ModuleMissing      the file cannot be held, or the platform could not load it
    //   EntryPointMissing  it lacks an entry point; it is unloaded again
    //   OutOfMemory        nothing has changed
    //   InternalFailure    the cache knows the module, but has no factory for it
    VaneResult GetFactory(const char16_t* path, const Rule& rule, tsVaneModuleFactory** factory) noexcept;
    // The same with a rule of its own: with `verify` the file must be trusted at the level `verifyOption`, 1 to 5, by a
    // verifier that is linked in. Here neither an undecided verdict nor a missing verifier will do.
    //   InvalidArgument    also `verify` with the level 0, which would judge nothing
    //   ModuleNotTrusted   the verdict is not Trusted, the level above 5, or no verifier could be made
    VaneResult GetFactory(const char16_t* path, bool verify, TrustLevel verifyOption,
                          tsVaneModuleFactory** factory) noexcept;
    // The factory if its module was loaded by this very path, else null. Loads nothing.
    [[nodiscard]] tsVaneModuleFactory* Find(const char16_t* path) noexcept;

private:
    // False when the path is not known.
    [[nodiscard]] bool FindKnown(std::u16string_view path, tsVaneModuleFactory*& factory, VaneResult& result) noexcept;
    VaneResult Load(const VerifiedLoad& file, const std::u16string& path, tsVaneModuleFactory*& factory);
    VaneResult Verify(const char16_t* name, TrustLevel level) noexcept;

    const platform::Platform& platform_;
    TrustVerifiers& verifiers_;
    Tracer tracer_;
    platform::Lock lock_;
    // A path may lead to no module: memory ran out while one was recorded.
    std::map<std::u16string, platform::ModuleHandle, std::less<>> paths_;
    std::map<platform::ModuleHandle, std::unique_ptr<tsVaneModuleFactory>> factories_;
};

}  // namespace tsLib

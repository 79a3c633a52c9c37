#include "tslib/tsInstanceFactory.h"

#include <utility>

namespace tsLib {

tsInstanceFactory::~tsInstanceFactory() {
    for (const auto& [module, factory] : factories_) {
        if (const std::uint32_t live = factory != nullptr ? factory->ObjectCount() : 0; live != 0) {
            tracer_.Warning(TraceEvent::ModuleLeftLoaded, live);
            factory->LeaveLoaded();
        }
    }
}

VaneResult tsInstanceFactory::GetFactory(const char16_t* path, bool verify, TrustLevel verifyOption,
                                         tsVaneModuleFactory** factory) noexcept {
    if (factory != nullptr && path != nullptr && verify && verifyOption == 0) {
        *factory = nullptr;
        tracer_.Error(TraceEvent::ModuleLevelUnusable, std::u16string_view(path));
        return VaneResult::InvalidArgument;
    }
    return AtVaneBoundary([&] {
        return GetFactory(
            path,
            [this, verify, verifyOption](const char16_t* name) noexcept {
                return verify ? Verify(name, verifyOption) : VaneResult::Success;
            },
            factory);
    });
}

VaneResult tsInstanceFactory::GetFactory(const char16_t* path, const Rule& rule,
                                         tsVaneModuleFactory** factory) noexcept {
    if (factory == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *factory = nullptr;
    if (path == nullptr) {
        tracer_.Error(TraceEvent::ModulePathMissing, std::u16string_view(u"GetFactory"));
        return VaneResult::InvalidArgument;
    }
    return AtVaneBoundary([&] {
        VaneResult result = VaneResult::Success;
        {
            const std::shared_lock lock(lock_);
            if (FindKnown(path, *factory, result)) {
                return result;
            }
        }
        const std::u16string text(path);
        const std::unique_lock lock(lock_);
        // Another thread may have loaded it between the two locks.
        if (FindKnown(text, *factory, result)) {
            return result;
        }
        const VerifiedLoad file(platform_.files, platform_.modules, text);
        // What is wrong with a file that cannot be held is for the rule to say first.
        result = rule(file ? file.Name().c_str() : path);
        return Failed(result) ? result : Load(file, text, *factory);
    });
}

tsVaneModuleFactory* tsInstanceFactory::Find(const char16_t* path) noexcept {
    tsVaneModuleFactory* factory = nullptr;
    VaneResult result = VaneResult::Success;
    const std::shared_lock lock(lock_);
    return path != nullptr && FindKnown(path, factory, result) ? factory : nullptr;
}

bool tsInstanceFactory::FindKnown(std::u16string_view path, tsVaneModuleFactory*& factory,
                                  VaneResult& result) noexcept {
    const auto record = paths_.find(path);
    const auto found = record != paths_.end() ? factories_.find(record->second) : factories_.end();
    if (found == factories_.end()) {
        return false;
    }
    factory = found->second.get();
    if (factory == nullptr) {
        tracer_.Error(TraceEvent::FactoryCacheInconsistent, path);
        result = VaneResult::InternalFailure;
    }
    return true;
}

VaneResult tsInstanceFactory::Load(const VerifiedLoad& file, const std::u16string& path,
                                   tsVaneModuleFactory*& factory) {
    auto made = std::make_unique<tsVaneModuleFactory>(platform_.modules, tracer_);
    if (const VaneResult result = made->Load(file, path); Failed(result)) {
        return result;
    }
    const platform::ModuleHandle module = made->Module();
    platform::ModuleHandle& record = paths_[path];
    // The same module by another path has its wrapper already: the new one goes, and the extra reference with it.
    factories_.try_emplace(module, std::move(made));
    record = module;
    VaneResult result = VaneResult::Success;
    static_cast<void>(FindKnown(path, factory, result));
    return result;
}

VaneResult tsInstanceFactory::Verify(const char16_t* name, TrustLevel level) noexcept {
    constexpr TrustLevel kHighestLevel = 5;
    const FileUse use = level <= kHighestLevel ? JudgeFile(verifiers_, name, level) : FileUse{};
    if (!use.judged) {
        using Event = CheckedEvent<trace_table::Error, std::u16string_view>;
        tracer_.Error(
            level <= kHighestLevel ? Event(TraceEvent::ModuleVerifierNotMade) : Event(TraceEvent::ModuleLevelUnusable),
            std::u16string_view(name));
        return VaneResult::ModuleNotTrusted;
    }
    if (use.verdict != TrustResult::Trusted) {
        tracer_.Error(TraceEvent::ModuleRefused, use.verdict, std::u16string_view(name));
        return VaneResult::ModuleNotTrusted;
    }
    return VaneResult::Success;
}

}  // namespace tsLib

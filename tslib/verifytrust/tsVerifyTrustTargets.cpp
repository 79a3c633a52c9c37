// The verifier's operations that first find the file to verify: of a process, a module or a COM class.
#include <cstddef>

#include "tslib/RegistryText.h"
#include "tslib/verifytrust/tsVerifyTrustImpl.h"

namespace tsLib {

using platform::SystemError;

namespace {

// Of a path, terminator included.
constexpr std::size_t kLongestPath = 32768;
constexpr std::size_t kModulePathCapacity = 260;
constexpr std::size_t kComServerPathCapacity = 260;

SystemError ReadServer(platform::RegistryReader& registry, const std::u16string& key, std::u16string& path) {
    platform::OwnedRegistryKey opened(registry);
    SystemError error =
        registry.OpenKey(platform::RegistryRoot::ClassesRoot, key, platform::kKeyRead, opened.Receive());
    std::u16string text;
    if (Succeeded(error)) {
        error = ReadText(registry, opened.Get(), {}, text);
    }
    if (Failed(error)) {
        return error;
    }
    if (text.size() > kComServerPathCapacity) {
        return SystemError::MoreData;
    }
    path = std::move(text);
    return SystemError::Success;
}

}  // namespace

SystemError tsVerifyTrustImpl::ProcessPath(std::uint32_t processId, std::u16string& path) {
    if (processId == services_.processes.CurrentId()) {
        return services_.modules.FileName(platform::kMainExecutable, kLongestPath, path);
    }
    return services_.processes.ImageFileName(processId, path);
}

TrustResult tsVerifyTrustImpl::VerifyProcess(std::uint32_t processId, TrustLevel level) noexcept {
    return Guarded([&] {
        if (level == 0) {
            return Traced(TrustResult::InvalidArgument, level, {});
        }
        std::u16string path;
        if (const SystemError error = ProcessPath(processId, path); Failed(error)) {
            services_.tracer.Warning(TraceEvent::TrustProcessUnresolved, error, processId);
            return Traced(TrustResult::FileError, level, {});
        }
        return VerifyFile(path.c_str(), level, false);
    });
}

TrustResult tsVerifyTrustImpl::VerifyCurrentProcess(TrustLevel level) noexcept {
    if (level == kProductTrustLevel && process_.currentProcessTrusted.load(std::memory_order_relaxed)) {
        return TrustResult::Trusted;
    }
    const TrustResult verdict = VerifyProcess(services_.processes.CurrentId(), level);
    if (level == kProductTrustLevel && verdict == TrustResult::Trusted) {
        process_.currentProcessTrusted.store(true, std::memory_order_relaxed);
    }
    return verdict;
}

TrustResult tsVerifyTrustImpl::VerifyParentProcess(TrustLevel level) noexcept {
    if (level == kProductTrustLevel && process_.parentProcessTrusted.load(std::memory_order_relaxed)) {
        return TrustResult::Trusted;
    }
    const TrustResult verdict = Guarded([&] {
        if (level == 0) {
            return Traced(TrustResult::InvalidArgument, level, {});
        }
        std::uint32_t parent = 0;
        if (const SystemError error = services_.processes.ParentId(parent); Failed(error)) {
            services_.tracer.Warning(TraceEvent::TrustProcessUnresolved, error, parent);
            return Traced(TrustResult::FileError, level, {});
        }
        return VerifyProcess(parent, level);
    });
    if (level == kProductTrustLevel && verdict == TrustResult::Trusted) {
        process_.parentProcessTrusted.store(true, std::memory_order_relaxed);
    }
    return verdict;
}

TrustResult tsVerifyTrustImpl::VerifyModule(platform::ModuleHandle module, TrustLevel level) noexcept {
    return Guarded([&] {
        if (level == 0) {
            return Traced(TrustResult::InvalidArgument, level, {});
        }
        std::u16string path;
        if (const SystemError error = services_.modules.FileName(module, kModulePathCapacity, path); Failed(error)) {
            services_.tracer.Warning(TraceEvent::TrustModuleUnresolved, error);
            return Traced(TrustResult::FileError, level, {});
        }
        return VerifyFile(path.c_str(), level);
    });
}

// Only a server that is not registered makes way for the next one: with an in-process server that is there but cannot
// be read, a verdict on the local server would be one on the wrong file.
SystemError tsVerifyTrustImpl::ComServerPath(const std::u16string& classId, std::u16string& path) {
    const std::u16string key = u"CLSID\\" + classId;
    const SystemError error = ReadServer(services_.registry, key + u"\\InprocServer32", path);
    return error == SystemError::FileNotFound ? ReadServer(services_.registry, key + u"\\LocalServer32", path) : error;
}

TrustResult tsVerifyTrustImpl::VerifyComServer(const Guid& classId, TrustLevel level) noexcept {
    return Guarded([&] {
        if (level == 0) {
            return Traced(TrustResult::InvalidArgument, level, {});
        }
        const std::u16string text = ToText(classId);
        std::u16string path;
        if (const SystemError error = ComServerPath(text, path); Failed(error)) {
            services_.tracer.Warning(TraceEvent::TrustComServerUnresolved, error, text);
            return Traced(TrustResult::FileError, level, {});
        }
        return VerifyFile(path.c_str(), level);
    });
}

}  // namespace tsLib

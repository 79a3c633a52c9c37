// The verifier's operations that first find the file to verify: of a process, a module or a COM class.
#include <cstddef>

#include "tslib/RegistryText.h"
#include "tslib/platform/FullPath.h"
#include "tslib/verifytrust/NormalizedPath.h"
#include "tslib/verifytrust/tsVerifyTrustImpl.h"

namespace tsLib {

using platform::SystemError;

namespace {

// Of a path, in characters with its terminator.
constexpr std::size_t kLongestPath = 32768;
constexpr std::size_t kModulePathCapacity = 260;
// Of a COM server's registered path, in bytes with its terminator.
constexpr std::size_t kComServerBytes = 520;

SystemError ReadServer(platform::Registry& registry, const std::u16string& key, std::u16string& path) {
    platform::OwnedRegistryKey opened(registry);
    SystemError error =
        registry.OpenKey(platform::RegistryRoot::ClassesRoot, key, platform::kKeyRead, opened.Receive());
    if (Succeeded(error)) {
        error = ReadText(registry, opened.Get(), {}, path);
    }
    if (Succeeded(error) && (path.size() + 1) * sizeof(char16_t) > kComServerBytes) {
        error = SystemError::MoreData;
    }
    return error;
}

// Only a server that is not registered makes way for the next one: with an in-process server that is there but cannot
// be read, a verdict on the local server would be one on the wrong file.
SystemError ReadComServer(platform::Registry& registry, const std::u16string& classId, std::u16string& path) {
    const std::u16string key = u"CLSID\\" + classId;
    const SystemError error = ReadServer(registry, key + u"\\InprocServer32", path);
    return error == SystemError::FileNotFound ? ReadServer(registry, key + u"\\LocalServer32", path) : error;
}

// Remembers a success at level 3 in `trusted`.
template <class Verify>
TrustResult Remembering(std::atomic<bool>& trusted, TrustLevel level, Verify&& verify) noexcept {
    if (level == kProductTrustLevel && trusted.load(std::memory_order_relaxed)) {
        return TrustResult::Trusted;
    }
    const TrustResult verdict = verify();
    if (level == kProductTrustLevel && verdict == TrustResult::Trusted) {
        trusted.store(true, std::memory_order_relaxed);
    }
    return verdict;
}

}  // namespace

template <class Find>
TrustResult tsVerifyTrustImpl::VerifyFound(TrustLevel level, Find&& find) noexcept {
    std::u16string path;
    bool systemComponent = false;
    const TrustResult verdict = AtVerdictBoundary([&] {
        if (level == 0) {
            return TrustResult::InvalidArgument;
        }
        if (!find(path)) {
            return TrustResult::FileError;
        }
        return path.empty() ? TrustResult::InvalidArgument : Verify(path, level, false, systemComponent);
    });
    return Traced(verdict, level, path.c_str());
}

// Of this process not even a handle is needed.
bool tsVerifyTrustImpl::FindProcess(std::uint32_t processId, std::u16string& path) const {
    const SystemError error = processId == platform_.processes.CurrentId()
                                  ? platform_.modules.FileName(platform::kMainExecutable, kLongestPath, path)
                                  : platform_.processes.ImageFileName(processId, path);
    if (Failed(error)) {
        tracer_.Warning(TraceEvent::TrustProcessUnresolved, error, processId);
        return false;
    }
    path = SystemPath(platform_, path);
    return true;
}

TrustResult tsVerifyTrustImpl::VerifyProcess(std::uint32_t processId, TrustLevel level) noexcept {
    return VerifyFound(level, [&](std::u16string& path) { return FindProcess(processId, path); });
}

TrustResult tsVerifyTrustImpl::VerifyCurrentProcess(TrustLevel level) noexcept {
    return Remembering(context_.currentProcessTrusted, level,
                       [&] { return VerifyProcess(platform_.processes.CurrentId(), level); });
}

TrustResult tsVerifyTrustImpl::VerifyParentProcess(TrustLevel level) noexcept {
    const auto findParent = [this](std::u16string& path) {
        std::uint32_t parent{};
        if (const SystemError error = platform_.processes.ParentId(parent); Failed(error)) {
            tracer_.Warning(TraceEvent::TrustProcessUnresolved, error, parent);
            return false;
        }
        return FindProcess(parent, path);
    };
    return Remembering(context_.parentProcessTrusted, level, [&] { return VerifyFound(level, findParent); });
}

TrustResult tsVerifyTrustImpl::VerifyModule(platform::ModuleHandle module, TrustLevel level) noexcept {
    return VerifyFound(level, [&](std::u16string& path) {
        const SystemError error = platform_.modules.FileName(module, kModulePathCapacity, path);
        if (Failed(error)) {
            tracer_.Warning(TraceEvent::TrustModuleUnresolved, error);
            return false;
        }
        path = SystemPath(platform_, path);
        return true;
    });
}

TrustResult tsVerifyTrustImpl::VerifyComServer(const Guid& classId, TrustLevel level) noexcept {
    return VerifyFound(level, [&](std::u16string& path) {
        const std::u16string text = ToText(classId);
        SystemError error = ReadComServer(platform_.registry, text, path);
        if (Succeeded(error)) {
            path = NormalizePath(platform_, path);
            // The platform would search for it; what it finds depends on the process that asks.
            error = path.empty() || platform::IsFullyQualified(path) ? error : SystemError::ModuleNotFound;
        }
        if (Failed(error)) {
            tracer_.Warning(TraceEvent::TrustComServerUnresolved, error, text);
        }
        return Succeeded(error);
    });
}

}  // namespace tsLib

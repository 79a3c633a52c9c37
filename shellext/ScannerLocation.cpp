#include "shellext/ScannerLocation.h"

#include <memory>

#include "tslib/RegistryText.h"
#include "tslib/VaneRef.h"

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;

HResult ScannerLocation::FindScanner(std::u16string& scanner) {
    const auto asked = AskResolver(scanner);
    if (Succeeded(asked)) {
        return HResult::Ok;
    }
    tracer_.Warning(TraceEvent::ScannerLookupFailed, kScannerFileName, asked);
    if (Failed(ReadInstalledApps(scanner))) {
        tracer_.Error(TraceEvent::ScannerUnknown, kScannerFileName, asked);
        return asked;  // the fallback's own failure says less
    }
    return HResult::Ok;
}

HResult ScannerLocation::AskResolver(std::u16string& scanner) {
    tsLib::VaneRef<IProductInstallPathResolver> resolver;
    if (const auto created = resolvers_.Create(*resolver.Receive()); Failed(created)) {
        return created;
    }
    if (!resolver) {
        return HResult::Fail;
    }
    char16_t* path = nullptr;
    const auto result = resolver->GetPath(kInstallFolder, kScannerFileName, &path, 0);
    const auto free = [this](char16_t* text) { memory_.Free(text); };
    const std::unique_ptr<char16_t, decltype(free)> owned(path, free);
    if (Failed(result)) {
        return result;
    }
    if (path == nullptr) {
        return HResult::Fail;
    }
    scanner = path;
    return HResult::Ok;
}

HResult ScannerLocation::ReadInstalledApps(std::u16string& scanner) {
    tsLib::platform::OwnedRegistryKey key(registry_);
    if (Failed(registry_.OpenKey(tsLib::platform::RegistryRoot::LocalMachine, u"Software\\Corvane\\InstalledApps",
                                 tsLib::platform::kKeyRead, key.Receive()))) {
        return HResult::Fail;
    }
    std::u16string folder;
    if (Failed(tsLib::ReadText(registry_, key.Get(), u"NimEdge", folder))) {
        return HResult::Fail;
    }
    // The value ends in a backslash; one that does not names no scanner, and starting it fails.
    scanner = folder + kScannerFileName;
    return HResult::Ok;
}

}  // namespace HVR

#include "companions/pages/PageContent.h"

#include "shellext/OrientationSetting.h"
#include "tslib/RegistryText.h"

namespace HVR {

using namespace tsLib::platform;

namespace {

std::u16string InstallFolder(Registry& registry) {
    OwnedRegistryKey key(registry);
    std::u16string folder;
    if (Failed(registry.OpenKey(RegistryRoot::LocalMachine, kProductKey, kKeyQueryValue, key.Receive())) ||
        Failed(tsLib::ReadText(registry, key.Get(), u"Home Directory", folder)) || folder.empty()) {
        return u"not known";
    }
    return folder;
}

}  // namespace

PageContent MakePageContent(Registry& registry, std::u16string_view version, std::uint32_t mode) {
    const bool allowed = OrientationAllowsScan(registry);
    return {std::u16string(version), InstallFolder(registry),
            allowed ? u"Scans from the context menu are allowed."
                    : u"Scans from the context menu are not allowed by the settings of this computer.",
            mode == kSelectionPage ? u"Right-click the selection to scan it."
                                   : u"Right-click files, folders or drives to scan them."};
}

}  // namespace HVR

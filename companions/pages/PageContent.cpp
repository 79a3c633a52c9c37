#include "companions/pages/PageContent.h"

#include "companions/pages/resource.h"
#include "resources/StringTable.h"
#include "shellext/OrientationSetting.h"
#include "tslib/RegistryText.h"

namespace HVR {

using namespace tsLib::platform;

namespace {

// Empty when it is not known.
std::u16string InstallFolder(Registry& registry) {
    OwnedRegistryKey key(registry);
    std::u16string folder;
    if (Failed(registry.OpenKey(RegistryRoot::LocalMachine, kProductKey, kKeyQueryValue, key.Receive())) ||
        Failed(tsLib::ReadText(registry, key.Get(), u"Home Directory", folder))) {
        return {};
    }
    return folder;
}

}  // namespace

std::vector<PageText> MakePageContent(Registry& registry, Modules& modules, ModuleHandle module,
                                      std::u16string_view version, std::uint32_t mode) {
    const auto words = [&](std::uint32_t id) { return ReadWholeString(modules, module, id); };
    const std::u16string folder = InstallFolder(registry);
    return {
        {PAGE_INSTALLATION_GROUP, words(TEXT_INSTALLATION)},
        {PAGE_VERSION_LABEL, words(TEXT_VERSION)},
        {PAGE_VERSION, std::u16string(version)},
        {PAGE_FOLDER_LABEL, words(TEXT_FOLDER)},
        {PAGE_FOLDER, folder.empty() ? words(TEXT_UNKNOWN) : folder},
        {PAGE_MENU_GROUP, words(TEXT_MENU)},
        {PAGE_STATE_LABEL, words(TEXT_STATE)},
        {PAGE_STATE, words(OrientationAllowsScan(registry) ? TEXT_ALLOWED : TEXT_REFUSED)},
        {PAGE_HINT, words(mode == kSelectionPage ? TEXT_SELECTION_HINT : TEXT_HINT)},
    };
}

}  // namespace HVR

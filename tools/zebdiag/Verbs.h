// zebdiag's verbs, and what each needs of the product. What is passed must outlive the program.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/zebdiag/Program.h"
#include "tools/zebdiag/Scanner.h"
#include "tools/zebdiag/ShellMenu.h"
#include "tslib/Guid.h"
#include "tslib/IVaneBase.h"
#include "tslib/TrustVerifiers.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/Platform.h"

namespace HVR::zebdiag {

// verify. `findLoaded` finds a module of this process by its name.
using LoadedModules = std::function<std::optional<tsLib::platform::ModuleHandle>(const std::u16string& name)>;
void AddVerifyVerb(Program& program, const tsLib::platform::Platform& platform, tsLib::TrustVerifiers& verifiers,
                   const LoadedModules& findLoaded);

// expand. Expands a text with path tokens; false leaves the input, cleaned up, in the output.
using Expander = std::function<bool(const std::u16string& text, std::u16string& expanded)>;
void AddExpandVerb(Program& program, const Expander& expand);

// path. The path of a file (which may be empty) in the directory of a kind.
using PathResolver =
    std::function<tsLib::HResult(std::uint32_t kind, const std::u16string& file, std::u16string& path)>;
void AddPathVerb(Program& program, const PathResolver& resolve);

// scan. Runs the scan request on full paths, and waits for the scanner as long as told.
struct ScanOutcome {
    tsLib::HResult result = tsLib::HResult::Unexpected;
    std::size_t selected = 0;  // the paths
    std::optional<std::u16string> listFile;
    std::vector<std::string> lines;  // as written, without their line ends
    std::optional<std::u16string> commandLine;
    StartedScanner scanner;
};
using ScanRunner =
    std::function<ScanOutcome(const std::vector<std::u16string>& paths, std::optional<std::uint32_t> waitSeconds)>;
void AddScanVerb(Program& program, const ScanRunner& scan, const FullPath& fullPath, tsLib::platform::Files& files);

// menu. Builds the menu for full paths. Throws std::runtime_error with a reason when there can be none.
using ShellMenuMaker = std::function<std::unique_ptr<ShellMenu>(const std::vector<std::u16string>& paths)>;
void AddMenuVerb(Program& program, const ShellMenuMaker& make, const FullPath& fullPath);

// page. Asks the Display control panel's handlers for pages and makes a sheet of them. With `show` the sheet stays
// until the user closes it; `onShown` is called when it is on the screen. Without pages there is no sheet.
struct PageSheet {
    std::vector<AskedHandler> handlers;      // `commands` counts pages
    std::vector<std::u16string> titles;      // of the sheet's pages
    std::vector<std::u16string> stayLoaded;  // modules of handlers that could not be unloaded at the end
    bool isShown = true;                     // false when there are pages and no sheet could be made of them
};
using PageHost = std::function<PageSheet(bool show, const std::function<void()>& onShown)>;
void AddPageVerb(Program& program, const PageHost& host);

// objects. Lists all known objects; false when what the installation knows cannot be read. The verb looks for the entry
// points of a module by loading it, so only modules with the verdict "trusted" are looked into.
struct KnownObject {
    enum class Source : std::uint8_t { BuiltIn, FixedPlace, SettingsStore, Registry };

    tsLib::ObjectId id;
    Source source{};
    std::u16string storedPath;  // path tokens included; empty for a built-in object
};
[[nodiscard]] std::string_view Name(KnownObject::Source source);

enum class ObjectEntries : std::uint8_t { NotLookedAt, NotLoaded, BothMissing, NoFactory, NoCount, Both };
[[nodiscard]] std::string_view Name(ObjectEntries entries);

struct ObjectLook {
    std::optional<std::u16string> path;  // nothing when the stored one cannot be expanded
    std::optional<tsLib::TrustResult> verdict;
    ObjectEntries entries = ObjectEntries::NotLookedAt;
};
// Nothing when no trust verifier could be made. Not for built-in objects.
[[nodiscard]] std::optional<ObjectLook> LookAt(const KnownObject& object, const Expander& expand,
                                               tsLib::TrustVerifiers& verifiers, tsLib::platform::Modules& modules);

using ObjectLister = std::function<bool(std::vector<KnownObject>& objects)>;
void AddObjectsVerb(Program& program, const ObjectLister& list, const Expander& expand,
                    tsLib::TrustVerifiers& verifiers, tsLib::platform::Modules& modules);

// create.
using ObjectCreator = std::function<tsLib::VaneResult(
    const tsLib::ObjectId& objectId, const tsLib::InterfaceId& interfaceId, tsLib::VaneRef<tsLib::IVaneBase>& object)>;
void AddCreateVerb(Program& program, const ObjectCreator& create);

// protection.
using SuspensionReader = std::function<tsLib::platform::SystemError(bool& isSuspended)>;
void AddProtectionVerb(Program& program, const SuspensionReader& read);

// trace. Sessions of the platform's event tracing.
class TraceSessions {
public:
    using Decoded = std::function<void(std::uint64_t fileTime, std::uint32_t processId, const std::string& words)>;

    // A session that writes our provider's records up to the level into a file.
    virtual tsLib::platform::SystemError Start(const std::u16string& file, tsLib::platform::TraceLevel level) = 0;
    virtual tsLib::platform::SystemError Stop() = 0;
    // Our records in a session's file, in order.
    virtual tsLib::platform::SystemError Decode(const std::u16string& file, const Decoded& decoded) = 0;

protected:
    ~TraceSessions() = default;
};
void AddTraceVerb(Program& program, TraceSessions& sessions, tsLib::platform::Files& files, const FullPath& fullPath);

}  // namespace HVR::zebdiag

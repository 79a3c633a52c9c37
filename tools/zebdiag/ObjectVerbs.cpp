#include "tools/zebdiag/ObjectVerbs.h"

#include <optional>
#include <string_view>
#include <utility>

#include "tools/zebdiag/JsonWriter.h"
#include "tslib/ComponentEntryPoints.h"
#include "tslib/IProtectionControl.h"
#include "tslib/ISettingsStore.h"
#include "tslib/IVerifyTrust.h"

namespace HVR::zebdiag {

namespace {

using tsLib::TrustResult;
using tsLib::VaneResult;

std::string_view Name(KnownObject::Source source) {
    switch (source) {
        case KnownObject::Source::BuiltIn:
            return "built-in";
        case KnownObject::Source::FixedPlace:
            return "fixed-place";
        case KnownObject::Source::SettingsStore:
            return "settings-store";
        default:
            return "registry";
    }
}

std::string_view Name(VaneResult result) {
    switch (result) {
        case VaneResult::Success:
            return "success";
        case VaneResult::NoInstanceFactory:
            return "no instance factory";
        case VaneResult::OutOfMemory:
            return "out of memory";
        case VaneResult::NoInterface:
            return "the object lacks the interface";
        case VaneResult::InvalidArgument:
            return "invalid argument";
        case VaneResult::ModuleMissing:
            return "module missing";
        case VaneResult::EntryPointMissing:
            return "module lacks an entry point";
        case VaneResult::ModuleNotTrusted:
            return "module not trusted";
        case VaneResult::InternalFailure:
            return "internal failure";
        default:
            return "the component's own result";
    }
}

enum class Entries : std::uint8_t { NotLookedAt, NotLoaded, BothMissing, NoFactory, NoCount, Both };

std::string_view Name(Entries entries) {
    switch (entries) {
        case Entries::NotLookedAt:
            return "not looked at";
        case Entries::NotLoaded:
            return "module cannot be loaded";
        case Entries::BothMissing:
            return "both missing";
        case Entries::NoFactory:
            return "GetFactory missing";
        case Entries::NoCount:
            return "GetObjectCount missing";
        default:
            return "both there";
    }
}

struct Look {
    std::optional<std::u16string> path;  // nothing when the stored one cannot be expanded
    std::optional<TrustResult> verdict;
    Entries entries = Entries::NotLookedAt;
};

class ObjectsVerb {
public:
    ObjectsVerb(ObjectLister list, Expander expand, tsLib::TrustVerifierFactory& verifiers,
                tsLib::platform::ModuleLoader& modules)
        : list_(std::move(list)), expand_(std::move(expand)), verifiers_(&verifiers), modules_(&modules) {}

    ExitCode operator()(const CommandLine& line, Console& console) const {
        if (!line.operands.empty()) {
            return UsageError(console, u"objects", "no operand is expected");
        }
        const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(verifiers_->Create());
        if (!verifier || verifier->Initialize(true) != 1) {
            console.Err("zebdiag objects: no trust verifier could be made");
            return ExitCode::Error;
        }
        std::vector<KnownObject> objects;
        const bool isRead = list_(objects);
        const bool isJson = line.Has(u"--json");
        JsonWriter json;
        json.BeginObject().BeginArray("objects");
        bool areUsable = true;
        for (const KnownObject& object : objects) {
            const Look look = LookAt(object, *verifier);
            areUsable = areUsable && (object.source == KnownObject::Source::BuiltIn || look.entries == Entries::Both);
            if (isJson) {
                Write(object, look, json);
            } else {
                Print(object, look, console);
            }
        }
        if (isJson) {
            console.Out(json.EndArray().Bool("read", isRead).EndObject().Str());
        }
        if (!isRead) {
            console.Err(
                "zebdiag objects: neither the settings store nor the registry could be read; --trace tells why");
            return ExitCode::Error;
        }
        return areUsable ? ExitCode::Yes : ExitCode::No;
    }

private:
    Look LookAt(const KnownObject& object, tsLib::IVerifyTrust& verifier) const {
        Look look;
        std::u16string path;
        if (object.source == KnownObject::Source::BuiltIn || !expand_(object.storedPath, path)) {
            return look;
        }
        look.path = path;
        look.verdict = verifier.VerifyFile(path.c_str(), tsLib::kProductTrustLevel);
        if (look.verdict == TrustResult::Trusted) {
            look.entries = FindEntries(path);
        }
        return look;
    }
    Entries FindEntries(const std::u16string& path) const {
        tsLib::platform::OwnedModule module(*modules_);
        if (Failed(modules_->LoadAltered(path, module.Receive()))) {
            return Entries::NotLoaded;
        }
        const auto found = tsLib::ComponentEntryPoints::Find(*modules_, module.Get());
        if (found.getFactory == nullptr) {
            return found.getObjectCount == nullptr ? Entries::BothMissing : Entries::NoFactory;
        }
        return found.getObjectCount == nullptr ? Entries::NoCount : Entries::Both;
    }
    static void Write(const KnownObject& object, const Look& look, JsonWriter& json) {
        json.BeginObject().Text("id", tsLib::ToText(object.id)).Text("source", Name(object.source));
        if (object.source != KnownObject::Source::BuiltIn) {
            json.Text("stored", object.storedPath).Bool("expanded", look.path.has_value());
        }
        if (look.path) {
            json.Text("path", *look.path);
        }
        if (look.verdict) {
            json.Number("result", static_cast<std::uint32_t>(*look.verdict)).Text("name", tsLib::Name(*look.verdict));
            json.Bool("refused", tsLib::RefusesFile(*look.verdict));
        }
        if (object.source != KnownObject::Source::BuiltIn) {
            json.Text("entryPoints", Name(look.entries));
        }
        json.EndObject();
    }
    static void Print(const KnownObject& object, const Look& look, Console& console) {
        console.Out(Utf8(tsLib::ToText(object.id)) + "  " + std::string(Name(object.source)));
        if (object.source == KnownObject::Source::BuiltIn) {
            return;
        }
        console.Out("  stored        " + Utf8(object.storedPath));
        console.Out("  path          " + (look.path ? Utf8(*look.path) : std::string("(cannot be expanded)")));
        if (look.verdict) {
            console.Out("  verdict       " + std::string(tsLib::Name(*look.verdict)) + " (" +
                        std::to_string(static_cast<std::uint32_t>(*look.verdict)) + ")" +
                        (tsLib::RefusesFile(*look.verdict) ? "; the product refuses this module" : ""));
        }
        console.Out("  entry points  " + std::string(Name(look.entries)));
    }

    ObjectLister list_;
    Expander expand_;
    tsLib::TrustVerifierFactory* verifiers_;
    tsLib::platform::ModuleLoader* modules_;
};

ExitCode RunCreate(const ObjectCreator& create, const CommandLine& line, Console& console) {
    if (line.operands.size() != 2) {
        return UsageError(console, u"create", "an OBJID and an IID are needed");
    }
    const auto objectId = tsLib::GuidFromText(line.operands[0]);
    const auto interfaceId = tsLib::GuidFromText(line.operands[1]);
    if (!objectId || !interfaceId) {
        return UsageError(console, u"create", "OBJID and IID are ids in braces");
    }
    VaneResult result = VaneResult::InternalFailure;
    {
        tsLib::VaneRef<tsLib::IVaneBase> object;
        result = create(*objectId, *interfaceId, object);
    }
    const bool isCreated = Succeeded(result);
    if (line.Has(u"--json")) {
        JsonWriter json;
        json.BeginObject().Text("object", tsLib::ToText(*objectId)).Text("interface", tsLib::ToText(*interfaceId));
        json.Text("result", Hexadecimal(Number(result))).Text("name", Name(result)).Bool("created", isCreated);
        console.Out(json.EndObject().Str());
    } else {
        console.Out("result    " + Hexadecimal(Number(result)) + " " + std::string(Name(result)) +
                    (isCreated ? "; created and released" : ""));
    }
    return isCreated ? ExitCode::Yes : ExitCode::No;
}

ExitCode RunProtection(const SuspensionReader& read, const CommandLine& line, Console& console) {
    if (!line.operands.empty()) {
        return UsageError(console, u"protection", "no operand is expected");
    }
    std::uint32_t suspensions = 0;
    if (const auto error = read(suspensions); Failed(error)) {
        console.Err("zebdiag protection: the number of suspensions cannot be read, system error " +
                    std::to_string(Number(error)));
        return ExitCode::Error;
    }
    if (line.Has(u"--json")) {
        JsonWriter json;
        console.Out(json.BeginObject()
                        .Number("suspensions", suspensions)
                        .Bool("suspended", suspensions != 0)
                        .EndObject()
                        .Str());
    } else {
        console.Out(suspensions == 0 ? "protection is not suspended"
                                     : "protection is suspended; suspensions: " + std::to_string(suspensions));
    }
    return suspensions == 0 ? ExitCode::Yes : ExitCode::No;
}

}  // namespace

Verb MakeObjectsVerb(ObjectLister list, Expander expand, tsLib::TrustVerifierFactory& verifiers,
                     tsLib::platform::ModuleLoader& modules) {
    return {u"objects",
            "",
            "the known component objects, their modules and whether those can be used",
            "Lists every known object id with its source, the module path as stored and as expanded, the verdict on\n"
            "the module and whether its entry points are there. Sources: built-in (in the program itself),\n"
            "fixed-place (always in that folder), settings-store, registry. A module that is not trusted is not\n"
            "loaded; its entry points are then \"not looked at\".\n"
            "Exit code 0 when every module is trusted and has both entry points, 1 when one is not, 3 when the\n"
            "objects of the installation cannot be read.",
            WithCommonOptions({}),
            ObjectsVerb(std::move(list), std::move(expand), verifiers, modules)};
}

Verb MakeCreateVerb(ObjectCreator create) {
    return {u"create",
            "OBJID IID",
            "makes a component object by its id, and releases it again",
            "OBJID and IID are the object's and the interface's id in braces; every object has the interface\n"
            "{7D1D35C0-3A0B-4B7C-9C55-0D2F4A1E6B01}. Its module is verified and loaded as the product does it.\n"
            "Prints the result by number and name. Exit code 1 when no object could be made.",
            WithCommonOptions({}),
            [create = std::move(create)](const CommandLine& line, Console& console) {
                return RunCreate(create, line, console);
            }};
}

Verb MakeProtectionVerb(SuspensionReader read) {
    return {u"protection",
            "",
            "whether real-time protection is suspended in this session",
            "Prints how many suspensions the protection control component counts. Exit code 1 when there is one.",
            WithCommonOptions({}),
            [read = std::move(read)](const CommandLine& line, Console& console) {
                return RunProtection(read, line, console);
            }};
}

}  // namespace HVR::zebdiag

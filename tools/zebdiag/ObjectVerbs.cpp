#include <optional>
#include <string_view>
#include <utility>

#include "tools/zebdiag/Verbs.h"
#include "tslib/IProtectionControl.h"
#include "tslib/ISettingsStore.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/Utf8.h"
#include "tslib/tsVaneModuleFactory.h"

namespace HVR::zebdiag {

namespace {

using tsLib::ToUtf8;
using tsLib::TrustResult;
using tsLib::VaneResult;

std::string_view Name(VaneResult result) {
    switch (result) {
        case VaneResult::Success:
            return "success";
        case VaneResult::NoComponentSource:
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

ObjectEntries FindEntries(tsLib::platform::Modules& modules, const std::u16string& path) {
    tsLib::platform::OwnedModule module(modules);
    if (Failed(modules.LoadAltered(path, module.Receive()))) {
        return ObjectEntries::NotLoaded;
    }
    const auto found = tsLib::ComponentEntryPoints::Find(modules, module.Get());
    if (found.getFactory == nullptr) {
        return found.getObjectCount == nullptr ? ObjectEntries::BothMissing : ObjectEntries::NoFactory;
    }
    return found.getObjectCount == nullptr ? ObjectEntries::NoCount : ObjectEntries::Both;
}

JsonObject ToJson(const KnownObject& object, const ObjectLook& look) {
    JsonObject json{{"id", ToUtf8(tsLib::ToText(object.id))}, {"source", Name(object.source)}};
    if (object.source == KnownObject::Source::BuiltIn) {
        return json;
    }
    json["stored"] = ToUtf8(object.storedPath);
    json["expanded"] = look.path.has_value();
    if (look.path) {
        json["path"] = ToUtf8(*look.path);
    }
    if (look.verdict) {
        json["result"] = static_cast<std::uint32_t>(*look.verdict);
        json["name"] = tsLib::Name(*look.verdict);
        json["refused"] = tsLib::RefusesFile(*look.verdict);
    }
    json["entryPoints"] = Name(look.entries);
    return json;
}

void Print(const KnownObject& object, const ObjectLook& look, const Output& output) {
    output.Line(ToUtf8(tsLib::ToText(object.id)) + "  " + std::string(Name(object.source)));
    if (object.source == KnownObject::Source::BuiltIn) {
        return;
    }
    output.Line("  stored        " + ToUtf8(object.storedPath));
    output.Line("  path          " + (look.path ? ToUtf8(*look.path) : std::string("(cannot be expanded)")));
    if (look.verdict) {
        output.Line("  verdict       " + std::string(tsLib::Name(*look.verdict)) + " (" +
                    std::to_string(static_cast<std::uint32_t>(*look.verdict)) + ")" +
                    (tsLib::RefusesFile(*look.verdict) ? "; the product refuses this module" : ""));
    }
    output.Line("  entry points  " + std::string(Name(look.entries)));
}

}  // namespace

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

std::string_view Name(ObjectEntries entries) {
    switch (entries) {
        case ObjectEntries::NotLookedAt:
            return "not looked at";
        case ObjectEntries::NotLoaded:
            return "module cannot be loaded";
        case ObjectEntries::BothMissing:
            return "both missing";
        case ObjectEntries::NoFactory:
            return "GetFactory missing";
        case ObjectEntries::NoCount:
            return "GetObjectCount missing";
        default:
            return "both there";
    }
}

std::optional<ObjectLook> LookAt(const KnownObject& object, const Expander& expand, tsLib::TrustVerifiers& verifiers,
                                 tsLib::platform::Modules& modules) {
    std::u16string path;
    if (!expand(object.storedPath, path)) {
        return ObjectLook();
    }
    const tsLib::FileUse use = tsLib::JudgeFile(verifiers, path.c_str(), tsLib::kProductTrustLevel);
    if (!use.judged) {
        return std::nullopt;
    }
    return ObjectLook{path, use.verdict,
                      use.verdict == TrustResult::Trusted ? FindEntries(modules, path) : ObjectEntries::NotLookedAt};
}

void AddObjectsVerb(Program& program, const ObjectLister& list, const Expander& expand,
                    tsLib::TrustVerifiers& verifiers, tsLib::platform::Modules& modules) {
    const Syntax verb{
        "objects", "the known component objects, their modules and whether those can be used",
        "Lists every known object id with its source, the module path as stored and as expanded, the verdict on\n"
        "the module and whether its entry points are there. Sources: built-in (in the program itself),\n"
        "fixed-place (always in that folder), settings-store, registry. A module that is not trusted is not\n"
        "loaded; its entry points are then \"not looked at\".\n"
        "Exit code 0 when every module is trusted and has both entry points, 1 when one is not, 3 when the\n"
        "objects of the installation cannot be read."};
    program.Add(verb, [list, expand, &verifiers, &modules](const Given&, const Output& output) {
        std::vector<KnownObject> objects;
        const bool isRead = list(objects);
        std::vector<ObjectLook> looks(objects.size());
        bool areUsable = true;
        for (std::size_t i = 0; i < objects.size(); ++i) {
            if (objects[i].source == KnownObject::Source::BuiltIn) {
                continue;
            }
            const auto look = LookAt(objects[i], expand, verifiers, modules);
            if (!look) {
                return output.Answer(ExitCode::Error, "no trust verifier could be made");
            }
            looks[i] = *look;
            areUsable = areUsable && look->entries == ObjectEntries::Both;
        }
        JsonList members;
        for (std::size_t i = 0; i < objects.size(); ++i) {
            if (output.IsJson()) {
                members.emplace_back(ToJson(objects[i], looks[i]));
            } else {
                Print(objects[i], looks[i], output);
            }
        }
        if (output.IsJson()) {
            output.Object({{"objects", std::move(members)}, {"read", isRead}});
        }
        if (!isRead) {
            return output.AnswerFailure(ExitCode::Error, "neither the settings store nor the registry could be read");
        }
        return areUsable ? ExitCode::Yes : ExitCode::No;
    });
}

void AddCreateVerb(Program& program, const ObjectCreator& create) {
    const Syntax verb{
        "create",
        "makes a component object by its id, and releases it again",
        "OBJID and IID are the object's and the interface's id in braces; every object has the interface\n"
        "{7D1D35C0-3A0B-4B7C-9C55-0D2F4A1E6B01}. Its module is verified and loaded as the product does it.\n"
        "Prints the result by number and name. Exit code 1 when no object could be made.",
        {{"OBJID", "the object's id", "", {}, Times::Once}, {"IID", "the interface's id", "", {}, Times::Once}}};
    program.Add(verb, [create](const Given& given, const Output& output) {
        const auto objectId = tsLib::GuidFromText(given.Text("OBJID"));
        const auto interfaceId = tsLib::GuidFromText(given.Text("IID"));
        if (!objectId || !interfaceId) {
            throw UsageError("OBJID and IID are ids in braces");
        }
        VaneResult result = VaneResult::InternalFailure;
        {
            tsLib::VaneRef<tsLib::IVaneBase> object;
            result = create(*objectId, *interfaceId, object);
        }
        const bool isCreated = Succeeded(result);
        if (output.IsJson()) {
            output.Object({{"object", ToUtf8(tsLib::ToText(*objectId))},
                           {"interface", ToUtf8(tsLib::ToText(*interfaceId))},
                           {"result", Hexadecimal(Number(result))},
                           {"name", Name(result)},
                           {"created", isCreated}});
        } else {
            output.Line("result    " + Hexadecimal(Number(result)) + " " + std::string(Name(result)) +
                        (isCreated ? "; created and released" : ""));
        }
        return isCreated ? ExitCode::Yes : ExitCode::No;
    });
}

void AddProtectionVerb(Program& program, const SuspensionReader& read) {
    const Syntax verb{"protection", "whether real-time protection is suspended in this session",
                      "Tells whether the protection control component suspends it for anybody. Exit code 1 then."};
    program.Add(verb, [read](const Given&, const Output& output) {
        bool isSuspended = false;
        if (const auto error = read(isSuspended); Failed(error)) {
            return output.Answer(ExitCode::Error, "whether protection is suspended cannot be known, system error " +
                                                      std::to_string(Number(error)));
        }
        if (output.IsJson()) {
            output.Object({{"suspended", isSuspended}});
        } else {
            output.Line(isSuspended ? "protection is suspended" : "protection is not suspended");
        }
        return isSuspended ? ExitCode::No : ExitCode::Yes;
    });
}

}  // namespace HVR::zebdiag

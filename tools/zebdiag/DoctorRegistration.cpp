#include "tools/zebdiag/DoctorRegistration.h"

#include <algorithm>
#include <utility>

#include "tslib/RegistryText.h"
#include "tslib/Utf8.h"
#include "tslib/platform/AsciiCase.h"
#include "tslib/platform/FullPath.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::ToUtf8;

namespace {

class RegistrationWalk {
public:
    RegistrationWalk(const Platform& platform, RegistrationLook& look) noexcept : platform_(platform), look_(look) {}

    void Below(RegistryRoot root, const std::u16string& path, const ScriptKey& key) {
        for (const ScriptKey& child : key.keys) {
            if (child.rule != ScriptRule::Delete) {
                Key(root, path.empty() ? child.name : path + u'\\' + child.name, child);
            }
        }
    }

private:
    void Key(RegistryRoot root, const std::u16string& path, const ScriptKey& key) {
        const bool isPassage = key.rule == ScriptRule::NoRemove && key.values.empty();
        if (isPassage) {
            Below(root, path, key);
            return;
        }
        PartOfRegistration& part = look_[PartOf(path)];
        OwnedRegistryKey opened(platform_.registry);
        if (const SystemError error = platform_.registry.OpenKey(root, path, kKeyRead, opened.Receive());
            Failed(error)) {
            part.wrong.push_back(NameOf(root, path) + WhyNot(root, path, error));
            Hide(path, key);
            return;
        }
        part.there += key.rule == ScriptRule::NoRemove ? 0U : 1U;  // that one may be there without us
        for (const ScriptValue& value : key.values) {
            if (std::string wrong = WhatDiffers(opened.Get(), value); wrong.empty()) {
                ++part.there;
            } else {
                part.wrong.push_back(NameOf(root, path) + ": " + wrong + WhoseItIs(root, path));
            }
        }
        Below(root, path, key);
    }

    void Hide(const std::u16string& path, const ScriptKey& key) {
        for (const ScriptKey& child : key.keys) {
            const std::u16string below = path + u'\\' + child.name;
            look_[PartOf(below)].isHidden = true;
            Hide(below, child);
        }
    }

    std::string WhyNot(RegistryRoot root, const std::u16string& path, SystemError error) {
        if (error != SystemError::FileNotFound) {
            return " cannot be opened, error " + std::to_string(Number(error));
        }
        OwnedRegistryKey other(platform_.registry);
        const bool isInOther =
            Succeeded(platform_.registry.OpenKey(root, path, kKeyRead | kKeyView32, other.Receive()));
        return isInOther ? " is in the registry's 32-bit view alone, where a 64-bit shell does not look"
                         : " is missing";
    }

    // Of classes, a user's own registration hides the machine's.
    std::string WhoseItIs(RegistryRoot root, const std::u16string& path) {
        OwnedRegistryKey own(platform_.registry);
        const bool isOwn = root == RegistryRoot::ClassesRoot &&
                           Succeeded(platform_.registry.OpenKey(
                               RegistryRoot::CurrentUser, u"Software\\Classes\\" + path, kKeyRead, own.Receive()));
        return isOwn ? ", by a registration of this user alone (HKCU\\Software\\Classes), which is to be deleted" : "";
    }

    // What is wrong with the value; empty when nothing is.
    std::string WhatDiffers(RegistryKey key, const ScriptValue& value) {
        const std::string name = value.name.empty() ? "the default value" : "the value " + ToUtf8(value.name);
        RegistryValue found;
        if (const SystemError error = platform_.registry.ReadValue(key, value.name, found); Failed(error)) {
            return name + (error == SystemError::FileNotFound
                               ? " is missing"
                               : " cannot be read, error " + std::to_string(Number(error)));
        }
        std::u16string text;
        if (found == value.data || value.data.type != kValueText ||
            Failed(tsLib::ReadText(platform_.registry, key, value.name, text))) {
            return found == value.data ? "" : name + " is of another type or holds other bytes";
        }
        const std::u16string wanted = TextOf(value.data);
        return tsLib::EqualsAscii(text, wanted) || IsOneFile(text, wanted)
                   ? ""
                   : name + " is \"" + ToUtf8(text) + "\" instead of \"" + ToUtf8(wanted) + "\"";
    }

    bool IsOneFile(const std::u16string& one, const std::u16string& other) {
        FileIdentity identities[2];
        for (std::size_t i = 0; i < 2; ++i) {
            const std::u16string& path = i == 0 ? one : other;
            OwnedFile file(platform_.files);
            if (!IsFullyQualified(path) ||
                Failed(platform_.files.OpenForReading(path, FileSharing::ReadersAndWriters, file.Receive())) ||
                Failed(platform_.files.Identity(file.Get(), identities[i]))) {
                return false;
            }
        }
        return identities[0] == identities[1];
    }

    // As the script reader made it: whole units with one terminator.
    static std::u16string TextOf(const RegistryValue& value) {
        std::u16string text;
        for (std::size_t i = 0; i + 3 < value.data.size(); i += 2) {
            text += static_cast<char16_t>(std::to_integer<unsigned>(value.data[i]) |
                                          std::to_integer<unsigned>(value.data[i + 1]) << 8);
        }
        return text;
    }

    static std::string NameOf(RegistryRoot root, const std::u16string& path) {
        const char* const hive = root == RegistryRoot::LocalMachine  ? "HKLM\\"
                                 : root == RegistryRoot::ClassesRoot ? "HKCR\\"
                                                                     : "HKCU\\";
        return hive + ToUtf8(path);
    }

    static RegistrationPart PartOf(std::u16string_view path) noexcept {
        const auto has = [path](std::u16string_view name) { return path.find(name) != path.npos; };
        return has(u"\\InprocServer32") ? RegistrationPart::Server
               : has(u"Handlers\\")     ? RegistrationPart::Handlers
               : has(u"\\Approved")     ? RegistrationPart::Approved
                                        : RegistrationPart::Class;
    }

    const Platform& platform_;
    RegistrationLook& look_;
};

}  // namespace

bool RegistrationLook::IsNothingThere() const {
    return std::ranges::all_of(parts, [](const PartOfRegistration& part) { return part.there == 0; });
}

RegistrationLook LookAtRegistration(const Platform& platform, const RegistryScript& script) {
    RegistrationLook look;
    RegistrationWalk walk(platform, look);
    for (const ScriptHive& hive : script) {
        walk.Below(hive.root, {}, hive.contents);
    }
    return look;
}

}  // namespace HVR::zebdiag

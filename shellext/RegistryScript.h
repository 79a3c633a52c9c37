// Registration scripts: a text that describes registry keys, to be written on registration and taken away on removal.
//
//     HKCR
//     {
//         NoRemove CLSID
//         {
//             ForceRemove {8BEEE74D-455E-4616-A97A-F6E86C317F32} = s 'ZebshellEx Class'
//             {
//                 InprocServer32 = s '%MODULE%'
//                 {
//                     val ThreadingModel = s 'Apartment'
//                 }
//             }
//         }
//     }
//
// Words are separated by white space alone, so that a GUID needs no quotes. Quotes hold names with blanks; a doubled
// quote inside stands for one. A quoted word is never a keyword or a brace. Keywords and hives are read in either
// letter case. docs/shell-extension.md has the grammar.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tslib/platform/Registry.h"

namespace HVR {

enum class ScriptRule : std::uint8_t {
    Plain,        // a key goes when it is empty of subkeys, a value always
    NoRemove,     // stays on removal
    ForceRemove,  // goes with everything below, on removal and before it is written anew
    Delete,       // a key that registration takes away with everything below; removal does not look at it
};

struct ScriptValue {
    std::u16string name;  // empty for the key's default value
    tsLib::platform::RegistryValue data;
    ScriptRule rule = ScriptRule::Plain;
};

struct ScriptKey {
    std::u16string name;  // empty for a hive
    ScriptRule rule = ScriptRule::Plain;
    std::vector<ScriptValue> values;
    std::vector<ScriptKey> keys;
};

struct ScriptHive {
    tsLib::platform::RegistryRoot root = tsLib::platform::RegistryRoot::ClassesRoot;
    ScriptKey contents;
};

using RegistryScript = std::vector<ScriptHive>;

// %name% stands for `text`, and %% for one percent sign, in every name and value. It is put in after the text was split
// into words, so that nothing in it (a quote in a folder's name) is read as script.
struct ScriptReplacement {
    std::u16string_view name;  // without the percent signs, in either letter case
    std::u16string_view text;
};

enum class ScriptFault : std::uint8_t {
    None,
    TextTooLong,
    UnclosedQuote,
    UnknownHive,
    BraceExpected,
    BraceUnclosed,
    NestedTooDeep,
    NameMissing,
    NameNotAllowed,  // empty, too long, or with a backslash or NUL
    RuleNotAllowed,  // Delete for a value, or with contents
    AssignmentExpected,
    UnknownType,
    NumberMalformed,
    BytesMalformed,
    ValueTooLong,
    UnknownReplacement,
};

struct ScriptProblem {
    ScriptFault fault = ScriptFault::None;
    std::uint32_t line = 0;  // counted from 1
};

inline constexpr std::size_t kMaximumScriptLength = 0x10000;

// Reads a whole script before anything is done with it. The script, or nothing with the first problem in `problem`.
// Throws std::bad_alloc only. Any thread.
[[nodiscard]] std::optional<RegistryScript> ParseRegistryScript(std::u16string_view text,
                                                                std::span<const ScriptReplacement> replacements,
                                                                ScriptProblem& problem);

}  // namespace HVR

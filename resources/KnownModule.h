// What the last search found, so that the next one need not look again for what is still so.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tslib/platform/Files.h"

namespace HVR {

// What a search depends on, but for the modules themselves.
struct SearchBasis {
    std::u16string installDir;
    std::uint16_t language = 0;
    bool asksForRevocation = false;
    tsLib::platform::Stamp folder;  // of res\, whose entries are the languages

    bool operator==(const SearchBasis&) const = default;
};

// A module with the verdict "trusted". Its file's stamp says whether it is worth mapping again without a verdict; that
// it is the same one is said by its bytes alone, before anything else is done with them.
struct KnownModule {
    SearchBasis basis;
    std::u16string path;
    std::u16string name;  // for the loader
    std::uint16_t language = 0;
    tsLib::platform::Stamp stamp;  // by that path
    std::vector<std::byte> bytes;  // as it was mapped
};

}  // namespace HVR

// The two functions that every component module exports by name.
#pragma once

#include <cstdint>

#include "tslib/Guid.h"
#include "tslib/IFactory.h"
#include "tslib/platform/ModuleLoader.h"

namespace tsLib {

inline constexpr char kGetFactoryName[] = "GetFactory";
inline constexpr char kGetObjectCountName[] = "GetObjectCount";

// A factory for the object id, with a reference that the caller releases. A failure leaves the place's content to
// nobody: it is not to be released.
using GetFactoryFunction = VaneResult (*)(const ObjectId& objectId, IFactory** factory);
// The number of live objects and locks; at zero the module may be unloaded.
using GetObjectCountFunction = std::uint32_t (*)();

// A module's entry points. The module must stay loaded while they are used. They are other people's code: what they
// answer is not taken on trust.
struct ComponentEntryPoints {
    GetFactoryFunction getFactory = nullptr;
    GetObjectCountFunction getObjectCount = nullptr;

    // What is missing stays null.
    [[nodiscard]] static ComponentEntryPoints Find(platform::ModuleLoader& modules,
                                                   platform::ModuleHandle module) noexcept;
    [[nodiscard]] bool AreComplete() const noexcept { return getFactory != nullptr && getObjectCount != nullptr; }
    // The name of an entry point that is missing.
    [[nodiscard]] std::u16string_view Missing() const noexcept;

    // Both leave null in the place on failure. InvalidArgument for a null place or without a factory entry point; the
    // module's own first failure; InternalFailure when it reports a success without giving anything.
    VaneResult GetFactory(const ObjectId& objectId, IFactory** factory) const noexcept;
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId, void** object) const noexcept;
};

}  // namespace tsLib

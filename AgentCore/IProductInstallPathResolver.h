// The component that knows the product's folders.
#pragma once

#include <cstdint>

#include "tslib/Guid.h"
#include "tslib/IVaneBase.h"
#include "tslib/platform/HResult.h"

namespace HVR {

// {7AF00934-51B3-4A05-9B85-BAE7DDE0A248}
inline constexpr tsLib::ObjectId CLSID_ProductInstallPathResolver{
    0x7AF00934, 0x51B3, 0x4A05, {0x9B, 0x85, 0xBA, 0xE7, 0xDD, 0xE0, 0xA2, 0x48}};
// {EDCF537C-6221-4E4A-AC0A-9C67A983ECBF}
inline constexpr tsLib::InterfaceId kIProductInstallPathResolverId{
    0xEDCF537C, 0x6221, 0x4E4A, {0xAC, 0x0A, 0x9C, 0x67, 0xA9, 0x83, 0xEC, 0xBF}};

// The kinds of folder. The numbers are a contract between modules.
enum ProductFolder : std::uint32_t {
    kInstallFolder = 0,
    kLogFolder = 1,
    kConfigFolder = 2,
    kStateFolder = 3,
    kResourceModuleFolder = 4,
    kBaseFolder = 5,
    kDriverFolder = 6,  // depends on the file: see GetPath
    kHelpFolder = 7,
    kFeatureStateFolder = 8,
    kTemporaryFolder = 9,
    kBaseFolderToo = 10,  // the same as 5; both are in use
    kAppDataFolder = 11,
    kEngineFolder = 12,
};

// The order of the operations is a binary contract between modules. No operation throws. Any thread.
class IProductInstallPathResolver : public tsLib::IVaneBase {
public:
    // The full path of a file in a product folder: the folder, exactly one backslash, and the file name as given. A
    // null or empty file name gives the folder with its backslash. The file need not exist. In the driver folder, one
    // of the product's drivers that belongs with the system's own lies in the system's driver folder.
    //
    // On success `*path` is a terminated text from component memory (CoTaskMemAlloc), which the caller frees with
    // CoTaskMemFree. On failure `*path` is untouched. `flags` is reserved and not looked at: pass 0.
    //   InvalidArgument  no such kind, or `path` is null; what the folder fails with is reported before the latter
    //   PathNotFound     the folder is not known
    //   OutOfMemory
    //
    // The narrow file name is in the system's ANSI code page; a name that cannot be converted gives that failure.
    //
    // Behind the three operations of IVaneBase the narrow variant comes first, then the wide one. A compiler that puts
    // overloads standing side by side into the table in another order must be given them in that other order.
    virtual tsLib::HResult GetPath(std::uint32_t kind, const char* fileName, char16_t** path,
                                   std::uint32_t flags) noexcept = 0;
    virtual tsLib::HResult GetPath(std::uint32_t kind, const char16_t* fileName, char16_t** path,
                                   std::uint32_t flags) noexcept = 0;

protected:
    ~IProductInstallPathResolver() = default;
};

}  // namespace HVR

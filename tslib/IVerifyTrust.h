// The interface of the trust verifier component.
#pragma once

#include <cstdint>

#include "tslib/Guid.h"
#include "tslib/IVaneBase.h"
#include "tslib/TrustResult.h"
#include "tslib/platform/Modules.h"

namespace tsLib {

// {17C9B88B-8B72-4F4E-AC70-DE0BDF8AC9FB}
inline constexpr ObjectId kTrustVerifierObjectId{
    0x17C9B88B, 0x8B72, 0x4F4E, {0xAC, 0x70, 0xDE, 0x0B, 0xDF, 0x8A, 0xC9, 0xFB}};
// {D8F30E00-8F44-44FE-986F-F9BCBDF19F6B}
inline constexpr InterfaceId kIVerifyTrustId{
    0xD8F30E00, 0x8F44, 0x44FE, {0x98, 0x6F, 0xF9, 0xBC, 0xBD, 0xF1, 0x9F, 0x6B}};

// Findings of one verification, set as the steps succeed.
enum TrustFlags : std::uint32_t {
    kSignatureOpened = 0x0001,
    kTestAPassed = 0x0002 | 0x0004,  // set together
    kTestBPassed = 0x0008,
    kTestCPassed = 0x0010,
    kSystemComponent = 0x0020,  // only with kTestCPassed: usage 1.3.6.1.4.1.311.10.3.6
    kDriverVerified = 0x0040,   // only with kTestCPassed: usage 1.3.6.1.4.1.311.10.3.5
    kThroughCatalog = 0x1000,
    kSignerFound = 0x4000,
    kDoNotRelyOnCached = 0x40000,  // in a cached word only
};

// What DescribeFile found, for diagnosis. Texts are terminated and cut to fit; empty when not read.
struct TrustReport {
    std::uint32_t size;             // set by the caller to sizeof(TrustReport)
    std::uint32_t flags;            // TrustFlags
    std::int32_t platformAnswer;    // the trust provider's last answer, 0 when it trusts
    std::uint32_t systemComponent;  // 0 or 1
    char16_t catalogPath[1024];
    char16_t commonName[260];
    char16_t organizationalUnit[260];
    char16_t organization[260];
    char16_t locality[260];
    char16_t state[260];
    char16_t country[260];
};

// The order in which the operations stand here is a binary contract between modules: each has the slot of its place,
// after those of IVaneBase. A compiler that puts the overloads of one name side by side in its table breaks it, as
// another common one for this platform does; a caller built with such a compiler declares the operations under a name
// of its own each, in this order.
//
// No operation throws or shows a dialog; every failure is a TrustResult. Any thread. Paths are NUL-terminated; narrow
// ones are in the system's ANSI code page. A null or empty path and a zero level give InvalidArgument.
class IVerifyTrust : public IVaneBase {
public:
    // To be called once, before any verification. Calls ResetSettings; with loadSettings also takes the
    // alternate-policy option from the registry. Returns 1.
    virtual std::uint32_t Initialize(bool loadSettings) noexcept = 0;
    // Puts the four options back to what they are at construction.
    virtual void ResetSettings() noexcept = 0;
    virtual TrustResult VerifyFile(const char16_t* path, TrustLevel level) noexcept = 0;
    virtual TrustResult VerifyFile(const char* path, TrustLevel level) noexcept = 0;
    // The image file of a running process; FileError when it cannot be opened or named.
    virtual TrustResult VerifyProcess(std::uint32_t processId, TrustLevel level) noexcept = 0;
    // A success at level 3 is remembered for the life of this process, in both.
    virtual TrustResult VerifyCurrentProcess(TrustLevel level) noexcept = 0;
    virtual TrustResult VerifyParentProcess(TrustLevel level) noexcept = 0;
    // The file of a loaded module; FileError when its name does not fit 260 characters.
    virtual TrustResult VerifyModule(platform::ModuleHandle module, TrustLevel level) noexcept = 0;
    // VerifyFile with the thorough flag on: catalogs are consulted at level 3 too. No shortcut, no cache.
    virtual TrustResult VerifyFileThorough(const char16_t* path, TrustLevel level) noexcept = 0;
    // The full check with its findings. With `thorough` the signer is read and judged even when the signature check
    // failed; the verdict is then still the signature check's, or NotTrusted when the signer is not accepted. No
    // shortcut, no cache. A null report or one of another size gives InvalidArgument.
    virtual TrustResult DescribeFile(const char16_t* path, TrustLevel level, bool driverMode, bool thorough,
                                     TrustReport* report) noexcept = 0;
    // The in-process server registered for a COM class, or else its local server; FileError when there is neither.
    virtual TrustResult VerifyComServer(const Guid& classId, TrustLevel level) noexcept = 0;
    virtual void SetAlternatePolicyOption(bool on) noexcept = 0;
    virtual bool GetAlternatePolicyOption() noexcept = 0;
    virtual void SetProviderMode2(bool on) noexcept = 0;
    virtual bool GetProviderMode2() noexcept = 0;
    // The full form that all others end in. `systemComponent` may be null.
    virtual TrustResult VerifyFile(const char16_t* path, TrustLevel level, bool driverMode,
                                   bool* systemComponent) noexcept = 0;
    virtual TrustResult VerifyFile(const char* path, TrustLevel level, bool driverMode,
                                   bool* systemComponent) noexcept = 0;
    virtual TrustResult VerifyFile(const char16_t* path, TrustLevel level, bool driverMode) noexcept = 0;
    virtual TrustResult VerifyFile(const char* path, TrustLevel level, bool driverMode) noexcept = 0;
    // At the product's level.
    virtual TrustResult VerifyFile(const char16_t* path, bool driverMode) noexcept = 0;
    virtual TrustResult VerifyFile(const char* path, bool driverMode) noexcept = 0;

protected:
    ~IVerifyTrust() = default;
};

}  // namespace tsLib

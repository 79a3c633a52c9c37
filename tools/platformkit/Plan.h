// What the kit runs, in this order, and what each step needs of the machine.
#pragma once

#include <cstdint>

namespace HVR::platformkit {

// Bits.
enum Need : std::uint8_t {
    kNothing = 0,
    kMachineKeys = 1,  // writes below HKEY_LOCAL_MACHINE, where nothing of the product's may be meanwhile
    kCatalogs = 2,     // puts catalogs into the system's folder
    kTestRoot = 4,     // the samples' root certificate is trusted
};

struct Step {
    const char* title;
    const wchar_t* program;
    const wchar_t* filter;
    unsigned needs;
    bool isEachAlone = false;  // every test in a process of its own
};

inline constexpr const wchar_t* kSuites = L"halvora_wine_tests.exe";
inline constexpr const wchar_t* kAlone = L"halvora_alone_tests.exe";

inline constexpr Step kSteps[] = {
    {"files and text outputs", kSuites, L"FilesContract.*:TextOutputContract.*", kNothing},
    {"paths and texts", kSuites, L"PathFormsContract.*:TextRulesContract.*:PlatformPath.*:Win32TextRules.*", kNothing},
    {"modules and processes", kSuites, L"ModulesContract.*:ProcessesContract.*", kNothing},
    {"desktop and system", kSuites, L"DesktopContract.*:SystemContract.*", kNothing},
    {"signatures", kSuites, L"SignaturesContract.*", kNothing},
    {"the platform's classes", kSuites,
     L"Win32Arguments.*:Win32Classes.*:Win32DropList.*:EventTracing.*:SuspensionMarksOnWindows.*", kNothing},
    {"SHA-256 catalogs", kSuites, L"CatalogsContract.Sha256_*", kNothing},
    {"catalogs of the system", kSuites, L"CatalogsContract.*-*.Sha256_*", kCatalogs},
    {"registry", kSuites, L"RegistryContract.*", kMachineKeys},
    {"registration of the library", kSuites, L"ShellRegistration.*", kMachineKeys},
    {"the library as COM sees it", kSuites, L"ShellServer.*", kMachineKeys},
    {"trust in files", kSuites, L"TrustProviderContract.*", kTestRoot},
    {"trust through catalogs", kSuites, L"VerifierWithCatalogs.*", kCatalogs | kTestRoot},
    {"the menu item", kSuites, L"ShellHandler.*:ShellResources.*:ScanClick.*", kMachineKeys | kTestRoot},
    {"attacks", kSuites, L"Attacks.*:HostileNeighbour.*", kMachineKeys | kTestRoot},
    {"the box about missing texts", kAlone, L"FailureBox.*", kMachineKeys, true},
    {"what is the host program's", kAlone, L"Hygiene.*", kMachineKeys | kTestRoot, true},
    {"leaks", kAlone, L"Leaks.*", kMachineKeys | kTestRoot, true},
    {"memory running out", kAlone, L"MemorySweep.*", kMachineKeys | kTestRoot, true},
};

}  // namespace HVR::platformkit

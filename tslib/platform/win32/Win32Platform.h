// The Win32 classes, and one instance of each.
//
// A text that holds a NUL is refused everywhere: it would name something else than its whole says. For paths that is
// ERROR_INVALID_NAME (123), for the registry and command lines InvalidParameter. Any thread, except where an interface
// says otherwise.
#pragma once

#include "tslib/platform/Catalogs.h"
#include "tslib/platform/Desktop.h"
#include "tslib/platform/Files.h"
#include "tslib/platform/Modules.h"
#include "tslib/platform/PathForms.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/Processes.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/Signatures.h"
#include "tslib/platform/System.h"
#include "tslib/platform/TextRules.h"
#include "tslib/platform/TrustProvider.h"
#include "tslib/platform/win32/Win32TraceOutput.h"

namespace tsLib::platform::win32 {

class Win32Registry final : public Registry {
public:
    SystemError OpenKey(RegistryRoot root, const std::u16string& path, std::uint32_t access, RegistryKey& key) override;
    SystemError OpenSubkey(RegistryKey parent, const std::u16string& path, std::uint32_t access,
                           RegistryKey& key) override;
    SystemError ReadValue(RegistryKey key, const std::u16string& name, RegistryValue& value) override;
    SystemError CreateKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                          RegistryKey& key) override;
    SystemError WriteValue(RegistryKey key, const std::u16string& name, const RegistryValue& value) override;
    SystemError DeleteValue(RegistryKey key, const std::u16string& name) override;
    SystemError SubkeyInfo(RegistryKey key, std::uint32_t& count, std::uint32_t& longestName) override;
    SystemError SubkeyName(RegistryKey key, std::uint32_t index, std::uint32_t capacity, std::u16string& name) override;
    SystemError DeleteKey(RegistryRoot root, const std::u16string& path) override;
    // Trees: a path with an empty element is refused too, since the platform would empty the key above it.
    SystemError DeleteTree(RegistryRoot root, const std::u16string& path) override;
    SystemError DeleteSubkeyTree(RegistryKey parent, const std::u16string& path) override;
    void CloseKey(RegistryKey key) noexcept override;
};

class Win32Files final : public Files {
public:
    SystemError Attributes(const std::u16string& path, std::uint32_t& attributes) override;
    SystemError OpenForReading(const std::u16string& path, FileSharing sharing, FileHandle& file) override;
    SystemError Size(FileHandle file, std::uint64_t& bytes) override;
    SystemError Identity(FileHandle file, FileIdentity& identity) override;
    SystemError State(FileHandle file, FileState& state) override;
    SystemError FinalPath(FileHandle file, std::u16string& path) override;
    SystemError StampOf(const std::u16string& path, Stamp& stamp) override;
    SystemError VolumeOf(const std::u16string& path, Volume& volume) override;
    SystemError HoldFolder(const std::u16string& path, FileHandle& folder) override;
    SystemError Read(FileHandle file, std::span<std::byte> buffer, std::size_t& count) override;
    void Close(FileHandle file) noexcept override;
    SystemError FindFirst(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) override;
    SystemError FindNext(SearchHandle search, FoundEntry& entry) override;
    void CloseSearch(SearchHandle search) noexcept override;
};

// A file that is no module fails without the system's own error box.
class Win32Modules final : public Modules {
public:
    [[nodiscard]] ModuleHandle Own() const noexcept override;
    SystemError FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) override;
    SystemError MappedFile(ModuleHandle module, std::u16string& path) override;
    SystemError LoadAltered(const std::u16string& path, ModuleHandle& module) override;
    SystemError Load(const std::u16string& path, ModuleHandle& module) override;
    [[nodiscard]] EntryPoint FindEntryPoint(ModuleHandle module, const char* name) noexcept override;
    void Free(ModuleHandle module) noexcept override;
    SystemError MainExecutable(ModuleHandle& module) override;
    SystemError FromAddress(const void* address, ModuleHandle& module) override;
    SystemError FromAddressByRanges(const void* address, ModuleHandle& module) override;
    SystemError MapResources(const std::u16string& path, ModuleHandle& module) override;
    SystemError UnmapResources(ModuleHandle module) noexcept override;
    [[nodiscard]] std::span<const std::byte> View(ModuleHandle module) noexcept override;
    [[nodiscard]] std::size_t ReadString(ModuleHandle module, std::uint32_t id,
                                         std::span<char16_t> buffer) noexcept override;
};

class Win32Processes final : public Processes {
public:
    [[nodiscard]] std::uint32_t CurrentId() const noexcept override;
    // A parent that may not be asked for its age counts as the true one: whoever may not ask that may not open it for
    // its name either.
    SystemError ParentId(std::uint32_t& parent) override;
    SystemError ImageFileName(std::uint32_t processId, std::u16string& path) override;
    SystemError Start(const std::u16string& commandLine, std::uint32_t creationFlags, StartedProcess& started) override;
    void CloseThread(ThreadHandle thread) noexcept override;
    void CloseProcess(ProcessHandle process) noexcept override;
};

class Win32PathForms final : public PathForms {
public:
    SystemError ExpandEnvironment(const std::u16string& text, std::u16string& expanded) override;
    SystemError LongPath(const std::u16string& path, std::u16string& longPath) override;
    // InvalidParameter for anything but a letter from A to Z, in either case.
    SystemError DosDeviceTarget(char16_t driveLetter, std::u16string& target) override;
    [[nodiscard]] bool Append(std::u16string& path, const std::u16string& element) override;
    [[nodiscard]] bool RemoveFileSpec(std::u16string& path) override;
    [[nodiscard]] bool IsUncServer(const std::u16string& path) override;
};

class Win32TextRules final : public TextRules {
public:
    // The narrow texts' code page; 0 stands for the system's ANSI code page.
    explicit constexpr Win32TextRules(unsigned codePage = 0) noexcept : codePage_(codePage) {}

    // The user's locale. Without LCMAP_LINGUISTIC_CASING the mapping is the same in every locale, so that a Turkish
    // user's names fold as everybody's do.
    SystemError LowerByLocale(std::u16string_view text, std::u16string& lower) override;
    [[nodiscard]] char16_t LowerByRuntime(char16_t unit) const noexcept override;
    [[nodiscard]] int CompareWords(const std::u16string& left, const std::u16string& right) override;
    // Strict: bytes that mean nothing in the code page fail with ERROR_NO_UNICODE_TRANSLATION (1113). A stand-in
    // character in a path would name another file.
    SystemError FromNarrow(std::string_view narrow, std::u16string& wide) override;
    SystemError ToNarrow(std::u16string_view wide, std::string& narrow) override;
    // Of code pages with characters of one byte, of two bytes with a lead byte, and UTF-8.
    [[nodiscard]] std::size_t FirstCharacterLength(std::string_view text) const noexcept override;

private:
    unsigned codePage_;
};

class Win32Desktop final : public Desktop {
public:
    [[nodiscard]] std::uint16_t SystemLanguage() const noexcept override;
    [[nodiscard]] std::uint16_t UserLanguage() const noexcept override;
    [[nodiscard]] bool IsLocale(std::uint32_t localeId) const noexcept override;
    SystemError SystemText(std::uint32_t code, std::uint16_t language, std::u16string& text) override;
    SystemError FillInserts(const std::u16string& format, std::span<const std::u16string> inserts,
                            std::u16string& text) override;
    SystemError WindowStationFlags(std::uint32_t& flags) noexcept override;
    // Any thread that may show windows.
    void ShowError(const std::u16string& text, const std::u16string* caption) noexcept override;
    [[nodiscard]] bool MarkProcess(const char16_t* mark) noexcept override;
    void WriteDebug(const char16_t* text) noexcept override;
};

class Win32System final : public System {
public:
    SystemError FileTimeNow(std::uint64_t& fileTime) override;
    [[nodiscard]] std::uint32_t TickCount() const noexcept override;
    // False when the version cannot be had.
    [[nodiscard]] bool IsAtLeast(std::uint32_t major, std::uint32_t minor) const noexcept override;
    HResult DefaultShellFolder(std::uint32_t csidl, std::u16string& path) override;
    [[nodiscard]] bool SpecialFolder(std::uint32_t csidl, std::u16string& path) override;
    SystemError TemporaryFolder(std::u16string& path, std::size_t& length) override;
    SystemError WindowsFolder(std::u16string& path) override;
    [[nodiscard]] void* Allocate(std::size_t bytes) noexcept override;
    void Free(void* block) noexcept override;
};

class Win32Catalogs final : public Catalogs {
public:
    [[nodiscard]] bool HasSha256Context() const noexcept override;
    SystemError AcquireContext(CatalogContextHandle& context) override;
    SystemError AcquireSha256Context(CatalogContextHandle& context) override;
    void ReleaseContext(CatalogContextHandle context) noexcept override;
    SystemError NextCatalog(CatalogContextHandle context, std::span<const std::byte> hash, CatalogHandle previous,
                            CatalogHandle& next) override;
    SystemError CatalogPath(CatalogHandle catalog, std::u16string& path) override;
    void ReleaseCatalog(CatalogContextHandle context, CatalogHandle catalog) noexcept override;
    [[nodiscard]] bool HasSha256Hash() const noexcept override;
    SystemError Hash(FileHandle file, std::span<std::byte> buffer, std::uint32_t& size) override;
    // ProcedureNotFound, with a size of 0, when HasSha256Hash() is false.
    SystemError Sha256Hash(CatalogContextHandle context, FileHandle file, std::span<std::byte> buffer,
                           std::uint32_t& size) override;
};

class Win32Signatures final : public Signatures {
public:
    SystemError Open(const std::u16string& path, SignatureHandle& signature) override;
    SystemError SignerInfoSize(SignatureHandle signature, std::uint32_t& size) override;
    // InvalidParameter for a buffer that is not aligned as memory from operator new is.
    SystemError SignerInfo(SignatureHandle signature, std::span<std::byte> buffer) override;
    SystemError FindSignerCertificate(SignatureHandle signature, std::span<const std::byte> signerInfo,
                                      CertificateHandle& certificate) override;
    void FreeCertificate(CertificateHandle certificate) noexcept override;
    void Close(SignatureHandle signature) noexcept override;
    SystemError EnhancedKeyUsages(CertificateHandle certificate, std::vector<std::string>& usages) override;
    SystemError SubjectAttribute(CertificateHandle certificate, const char* identifier, std::u16string& value) override;
    SystemError SubjectText(CertificateHandle certificate, std::u16string& text) override;
};

class Win32TrustProvider final : public TrustProvider {
public:
    TrustAnswer VerifyFile(const std::u16string& path, FileHandle file, TrustAction action,
                           RevocationCheck revocation) override;
    TrustAnswer VerifyCatalogMember(const CatalogMember& member, TrustAction action,
                                    RevocationCheck revocation) override;
    [[nodiscard]] std::uint32_t PolicyFlags() override;
};

// Only composition roots (the library, the tools, the test mains) include this; everything below takes references to
// the interfaces that it uses.
struct Win32Platform {
    // For modules that hosts load and unload again, which own one.
    constexpr Win32Platform() noexcept = default;
    Win32Platform(const Win32Platform&) = delete;
    Win32Platform& operator=(const Win32Platform&) = delete;
    // Never destroyed: threads may still be at work when the process ends. Any thread.
    [[nodiscard]] static constexpr Win32Platform& Instance() noexcept { return instance_; }
    [[nodiscard]] operator const Platform&() const noexcept { return interfaces; }

    Win32Registry registry;
    Win32Files files;
    Win32Modules modules;
    Win32Processes processes;
    Win32PathForms pathForms;
    Win32TextRules textRules;
    Win32Desktop desktop;
    Win32System system;
    Win32Catalogs catalogs;
    Win32Signatures signatures;
    Win32TrustProvider trustProvider;
    Win32TraceOutput trace;
    const Platform interfaces{registry, files,  modules,  processes,  pathForms,     textRules,
                              desktop,  system, catalogs, signatures, trustProvider, trace};

private:
    static Win32Platform instance_;
};

}  // namespace tsLib::platform::win32

// The product as the examined library sees it, whichever program looks.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "tslib/IComponentSource.h"
#include "tslib/Isolation.h"
#include "tslib/TraceEvents.h"
#include "tslib/platform/Boundary.h"
#include "tslib/platform/Platform.h"
#include "tslib/tsPathExpansion.h"
#include "tslib/tsVaneObjectRepository.h"
#include "tslib/tsVaneSettingsStoreLoader.h"
#include "tslib/verifytrust/TrustContext.h"
#include "tslib/verifytrust/TrustRecords.h"

namespace HVR::zebdiag {

// Takes the library's file for the module that the code was linked into; everything else is the platform's.
class LibraryModules final : public tsLib::platform::Modules {
    using SystemError = tsLib::platform::SystemError;
    using ModuleHandle = tsLib::platform::ModuleHandle;

public:
    // No module lies there.
    static constexpr ModuleHandle kLibrary{1};

    LibraryModules(Modules& real, const std::u16string& library) : real_(real), library_(library) {}

    [[nodiscard]] ModuleHandle Own() const noexcept override { return kLibrary; }
    SystemError FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) override {
        if (module != kLibrary) {
            return real_.FileName(module, capacity, path);
        }
        if (library_.size() >= capacity) {
            return SystemError::InsufficientBuffer;
        }
        path = library_;
        return SystemError::Success;
    }
    SystemError MappedFile(ModuleHandle module, std::u16string& path) override {
        return real_.MappedFile(module, path);
    }
    SystemError LoadAltered(const std::u16string& path, ModuleHandle& module) override {
        return real_.LoadAltered(path, module);
    }
    SystemError Load(const std::u16string& path, ModuleHandle& module) override { return real_.Load(path, module); }
    [[nodiscard]] tsLib::platform::EntryPoint FindEntryPoint(ModuleHandle module, const char* name) noexcept override {
        return real_.FindEntryPoint(module, name);
    }
    void Free(ModuleHandle module) noexcept override { real_.Free(module); }
    SystemError MainExecutable(ModuleHandle& module) override { return real_.MainExecutable(module); }
    SystemError FromAddress(const void* address, ModuleHandle& module) override {
        return real_.FromAddress(address, module);
    }
    SystemError FromAddressByRanges(const void* address, ModuleHandle& module) override {
        return real_.FromAddressByRanges(address, module);
    }
    SystemError MapResources(const std::u16string& path, ModuleHandle& module) override {
        return real_.MapResources(path, module);
    }
    SystemError UnmapResources(ModuleHandle module) noexcept override { return real_.UnmapResources(module); }
    [[nodiscard]] std::span<const std::byte> View(ModuleHandle module) noexcept override { return real_.View(module); }
    [[nodiscard]] std::size_t ReadString(ModuleHandle module, std::uint32_t id,
                                         std::span<char16_t> buffer) noexcept override {
        return real_.ReadString(module, id, buffer);
    }

private:
    Modules& real_;
    const std::u16string library_;
};

// Starts nothing, and keeps what would have been started.
class WithheldProcesses final : public tsLib::platform::Processes {
    using SystemError = tsLib::platform::SystemError;

public:
    explicit WithheldProcesses(Processes& real) noexcept : real_(real) {}

    [[nodiscard]] std::uint32_t CurrentId() const noexcept override { return real_.CurrentId(); }
    SystemError ParentId(std::uint32_t& parent) override { return real_.ParentId(parent); }
    SystemError ImageFileName(std::uint32_t processId, std::u16string& path) override {
        return real_.ImageFileName(processId, path);
    }
    SystemError Start(const std::u16string& commandLine, std::uint32_t, tsLib::platform::StartedProcess&) override {
        withheld = commandLine;
        return SystemError::NotSupported;
    }
    void CloseThread(tsLib::platform::ThreadHandle thread) noexcept override { real_.CloseThread(thread); }
    void CloseProcess(tsLib::platform::ProcessHandle process) noexcept override { real_.CloseProcess(process); }

    std::optional<std::u16string> withheld;

private:
    Processes& real_;
};

// Why the product's code gave the answer that it gave: the records of its trace. They go on to the real output. One
// thread.
class KeptTrace final : public tsLib::platform::TraceOutput {
public:
    struct Record {
        tsLib::TraceEvent event{};
        std::uint32_t number = 0;           // the first number
        std::vector<std::u16string> texts;  // in order
    };

    explicit KeptTrace(TraceOutput& real) noexcept : real_(real) {}
    [[nodiscard]] bool IsEnabled(tsLib::platform::TraceLevel) const noexcept override { return true; }
    void Write(const tsLib::platform::TraceRecord& record) noexcept override {
        if (real_.IsEnabled(record.level)) {
            real_.Write(record);
        }
        if (record.level <= tsLib::platform::TraceLevel::Information) {
            tsLib::AtBoundary(false, [&] { return Keep(record); });  // what memory cannot hold is not kept
        }
    }

    // Forgets everything; to be called before the question whose answer is to be explained.
    void Clear() noexcept { records_.clear(); }
    // The first record between two events, both included.
    [[nodiscard]] const Record* Find(tsLib::TraceEvent first, tsLib::TraceEvent last) const {
        const auto found = std::ranges::find_if(
            records_, [&](const Record& kept) { return kept.event >= first && kept.event <= last; });
        return found == records_.end() ? nullptr : &*found;
    }
    [[nodiscard]] const Record* Find(tsLib::TraceEvent event) const { return Find(event, event); }

private:
    bool Keep(const tsLib::platform::TraceRecord& record) {
        Record kept{static_cast<tsLib::TraceEvent>(record.event), 0, {}};
        bool hasNumber = false;
        for (const tsLib::platform::TraceArgument& argument : record.arguments) {
            if (const auto* text = std::get_if<std::u16string_view>(&argument)) {
                kept.texts.emplace_back(*text);
            } else if (const auto* number = std::get_if<std::uint32_t>(&argument); number != nullptr && !hasNumber) {
                kept.number = *number;
                hasNumber = true;
            }
        }
        records_.push_back(std::move(kept));
        return true;
    }

    TraceOutput& real_;
    std::vector<Record> records_;
};

// The parts of the product that the library is made of, over its own view of the platform.
struct DoctorSight {
    DoctorSight(const tsLib::platform::Platform& real, const std::u16string& library)
        : modules(real.modules, library),
          processes(real.processes),
          trace(real.trace),
          platform{real.registry, real.files,  modules,       processes,       real.pathForms,     real.textRules,
                   real.desktop,  real.system, real.catalogs, real.signatures, real.trustProvider, trace} {}
    DoctorSight(const DoctorSight&) = delete;
    DoctorSight& operator=(const DoctorSight&) = delete;

    LibraryModules modules;
    WithheldProcesses processes;
    KeptTrace trace;
    const tsLib::platform::Platform platform;
    tsLib::Isolation isolation{platform};
    tsLib::tsPathExpansion expansion{platform, isolation};
    tsLib::TrustRecords records{platform.files, platform.system};
    tsLib::TrustContext verifiers{platform, &isolation, records};
    tsLib::tsVaneSettingsStoreLoader store{platform, expansion};
    tsLib::tsVaneObjectRepository repository{platform, isolation, expansion, store};
    tsLib::Components noComponents;  // nothing is suspended while the doctor loads a module
};

}  // namespace HVR::zebdiag

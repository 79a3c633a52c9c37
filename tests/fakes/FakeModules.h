// The modules and processes of the disk.
#pragma once

#include "tests/fakes/Disk.h"
#include "tslib/platform/Processes.h"

namespace tests {

// Any thread. Paths that lead to one file lead to one module.
class FakeModules final : public Modules, FakePart {
public:
    static constexpr ModuleHandle kOwn{0x10000000};
    static constexpr ModuleHandle kExecutable{0x400000};

    explicit FakeModules(Disk& disk) : FakePart(disk.Core()), disk_(disk) {}

    [[nodiscard]] ModuleHandle Own() const noexcept override { return kOwn; }
    SystemError FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) override;
    SystemError LoadAltered(const std::u16string& path, ModuleHandle& module) override {
        Keep(alteredLoads, path);
        return LoadModule("LoadAltered", path, module);
    }
    SystemError Load(const std::u16string& path, ModuleHandle& module) override {
        Keep(plainLoads, path);
        return LoadModule("Load", path, module);
    }
    [[nodiscard]] EntryPoint FindEntryPoint(ModuleHandle module, const char* name) noexcept override;
    void Free(ModuleHandle module) noexcept override;
    SystemError MainExecutable(ModuleHandle& module) override {
        ++executableAsked;
        return Call("MainExecutable", [&] { module = kExecutable; });
    }
    SystemError FromAddress(const void* address, ModuleHandle& module) override {
        return hasAddressFunction ? FindRange("FromAddress", address, module) : SystemError::ProcedureNotFound;
    }
    SystemError FromAddressByRanges(const void* address, ModuleHandle& module) override {
        ++rangesAsked;
        return FindRange("FromAddressByRanges", address, module);
    }
    SystemError MapResources(const std::u16string& path, ModuleHandle& module) override;
    SystemError UnmapResources(ModuleHandle module) noexcept override {
        resources_.Remove(module);
        return Call("UnmapResources", [] {});
    }
    [[nodiscard]] std::size_t ReadString(ModuleHandle module, std::uint32_t id,
                                         std::span<char16_t> buffer) noexcept override;

    // References that are held on a module.
    [[nodiscard]] std::size_t References(ModuleHandle module) const {
        const auto lock = Lock();
        const auto found = loaded_.find(module);
        return found == loaded_.end() ? 0 : found->second.references;
    }

    struct Range {
        std::uintptr_t begin;
        std::uintptr_t end;
        ModuleHandle module;
    };
    // The names of modules that nobody here has loaded. A loaded one has the name that it was loaded by.
    std::map<ModuleHandle, std::u16string> paths{{kExecutable, u"C:\\Program Files\\Host\\host.exe"},
                                                 {kOwn, u"C:\\Program Files\\Halvora\\zebshell2.dll"}};
    std::vector<Range> ranges{{0x400000, 0x500000, kExecutable}};
    bool hasAddressFunction = true;
    std::function<void()> onMap;                               // runs where the platform would map resources
    std::function<void(const std::u16string& path)> onUnload;  // runs after the last reference was given back
    // Every path asked for, in order.
    std::vector<std::u16string> alteredLoads;
    std::vector<std::u16string> plainLoads;
    std::vector<std::u16string> mapped;
    // How often it was asked.
    std::atomic<std::size_t> namesAsked{0};
    std::atomic<std::size_t> executableAsked{0};
    std::atomic<std::size_t> rangesAsked{0};

private:
    struct Loaded {
        std::u16string path;
        std::shared_ptr<Node> node;
        std::size_t references = 0;
    };

    SystemError LoadModule(const char* operation, const std::u16string& path, ModuleHandle& module);
    SystemError FindRange(const char* operation, const void* address, ModuleHandle& module) const;

    Disk& disk_;
    std::map<ModuleHandle, Loaded> loaded_;
    HandleTable<ModuleHandle, std::shared_ptr<Node>> resources_{core_, "mapped resources"};
    Tally& tally_ = NewTally("module");
};

// Starts nothing and keeps what was asked. The executable that a command line names, in quotes unless it is all, must
// be on the disk. One thread.
class FakeProcesses final : public Processes, FakePart {
public:
    explicit FakeProcesses(Disk& disk) : FakePart(disk.Core()), disk_(disk) {}

    [[nodiscard]] std::uint32_t CurrentId() const noexcept override { return 100; }
    SystemError ParentId(std::uint32_t& parent) override {
        return Call("ParentId", [&] {
            Require(parentId.has_value(), SystemError::NotFound);
            parent = parentId.value_or(0);
        });
    }
    // InvalidParameter is the platform's answer to an id that no process has.
    SystemError ImageFileName(std::uint32_t processId, std::u16string& path) override {
        ++imagesAsked;
        return Call("ImageFileName", [&] { path = At(images, processId, SystemError::InvalidParameter); });
    }
    SystemError Start(const std::u16string& commandLine, std::uint32_t creationFlags, StartedProcess& started) override;
    void CloseThread(ThreadHandle thread) noexcept override { threads_.Remove(thread); }
    void CloseProcess(ProcessHandle process) noexcept override { processes_.Remove(process); }

    std::optional<std::uint32_t> parentId = 50;
    std::map<std::uint32_t, std::u16string> images{{100, u"C:\\Program Files\\Host\\host.exe"},
                                                   {50, u"C:\\Program Files\\Host\\parent.exe"}};
    std::size_t imagesAsked = 0;
    struct Asked {
        std::u16string commandLine;
        std::uint32_t creationFlags;
    };
    std::vector<Asked> asked;  // every start, failed ones included
    bool givesThreadHandle = true;
    std::function<void()> onStart;  // runs where the platform would make the process

private:
    Disk& disk_;
    HandleTable<ProcessHandle, int> processes_{core_, "process"};
    HandleTable<ThreadHandle, int> threads_{core_, "thread"};
};

}  // namespace tests

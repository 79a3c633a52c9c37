// The modules and processes of the disk.
#pragma once

#include "tests/fakes/Disk.h"
#include "tslib/platform/FullPath.h"
#include "tslib/platform/Processes.h"

namespace tests {

// Any thread. Paths that lead to one file lead to one module.
class FakeModules final : public Modules, FakePart {
public:
    static constexpr ModuleHandle kOwn{0x10000000};
    static constexpr ModuleHandle kExecutable{0x400000};

    explicit FakeModules(Disk& disk) : FakePart(disk.Core()), disk_(disk) {}

    [[nodiscard]] ModuleHandle Own() const noexcept override { return kOwn; }
    SystemError FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) override {
        ++namesAsked;
        return Call("FileName", [&] {
            const auto known = paths.find(module == kMainExecutable ? kExecutable : module);
            Require(known != paths.end() || References(module) != 0, SystemError::ModuleNotFound);
            const std::u16string& name = known != paths.end() ? known->second : loaded_[module].path;
            Require(name.size() < capacity, SystemError::InsufficientBuffer);
            path = name;
        });
    }
    SystemError MappedFile(ModuleHandle module, std::u16string& path) override {
        return Call("MappedFile",
                    [&] { path = References(module) != 0 ? loaded_[module].file : resources_[module].file; });
    }
    SystemError LoadAltered(const std::u16string& path, ModuleHandle& module) override {
        Keep(alteredLoads, path);
        return LoadModule("LoadAltered", path, module);
    }
    SystemError Load(const std::u16string& path, ModuleHandle& module) override {
        Keep(plainLoads, path);
        return LoadModule("Load", path, module);
    }
    [[nodiscard]] EntryPoint FindEntryPoint(ModuleHandle module, const char* name) noexcept override {
        EntryPoint entryPoint = nullptr;
        static_cast<void>(Call("FindEntryPoint", [&] {
            const auto known = paths.find(module);
            const std::shared_ptr<Node> node = References(module) != 0 ? loaded_[module].node
                                               : known != paths.end()  ? disk_.Find(known->second)
                                                                       : nullptr;
            tally_.misuses += node == nullptr ? 1U : 0U;
            Require(node != nullptr, SystemError::InvalidHandle);
            entryPoint = At(node->exports, std::string_view(name), SystemError::ProcedureNotFound);
        }));
        return entryPoint;
    }
    void Free(ModuleHandle module) noexcept override {
        auto lock = Lock();
        if (References(module) == 0) {
            ++tally_.misuses;
            return;
        }
        --tally_.open;
        if (Loaded& loaded = loaded_[module]; --loaded.references == 0 && onUnload) {
            const std::u16string path = loaded.path;
            lock.unlock();
            onUnload(path);
        }
    }
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
    SystemError MapResources(const std::u16string& path, ModuleHandle& module) override {
        Keep(mapped, path);
        if (onMap) {
            onMap();
        }
        return Call("MapResources", path, [&] {
            const std::shared_ptr<Node> node = disk_.Existing(comesBackWith.value_or(LoadedName(path)));
            Require(node->isModule, kNoModule);
            module = resources_.Add({path, comesBackWith.value_or(LoadedName(path)), node});
        });
    }
    SystemError UnmapResources(ModuleHandle module) noexcept override {
        resources_.Remove(module);
        return Call("UnmapResources", [] {});
    }
    [[nodiscard]] std::span<const std::byte> View(ModuleHandle module) noexcept override {
        std::span<const std::byte> bytes;
        static_cast<void>(Call("View", [&] { bytes = resources_[module].node->bytes; }));
        return bytes;
    }
    std::size_t ReadString(ModuleHandle module, std::uint32_t id, std::span<char16_t> buffer) noexcept override {
        std::size_t length = 0;
        static_cast<void>(Call("ReadString", [&] {
            Node& node = References(module) != 0 ? *loaded_[module].node : *resources_[module].node;
            const std::u16string& text = At(node.strings, id, SystemError::NotFound);
            Require(!buffer.empty(), SystemError::InsufficientBuffer);
            length = text.copy(buffer.data(), buffer.size() - 1);
            buffer[length] = u'\0';
        }));
        return length;
    }

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
    std::optional<std::u16string> comesBackWith;               // the file that the platform takes for every path
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
    static constexpr SystemError kNoModule{193};

    struct Loaded {
        std::u16string path;
        std::u16string file;
        std::shared_ptr<Node> node;
        std::size_t references = 0;
    };

    // As the platform reads it: an extension is added where there is none, a dot at the end says that there is none.
    [[nodiscard]] static std::u16string LoadedName(const std::u16string& path) {
        const bool hasDot = LastElement(path).find(u'.') != std::u16string::npos;
        return !hasDot ? path + u".dll" : path.ends_with(u'.') ? path.substr(0, path.size() - 1) : path;
    }
    SystemError LoadModule(const char* operation, const std::u16string& path, ModuleHandle& module) {
        return Call(operation, path, [&] {
            const std::shared_ptr<Node> node =
                IsFullyQualified(path) ? disk_.Find(comesBackWith.value_or(LoadedName(path))) : nullptr;
            Require(node != nullptr, SystemError::ModuleNotFound);
            Require(node->isModule, kNoModule);
            Loaded& loaded = loaded_[ModuleHandle{node->number}];
            if (loaded.references == 0) {
                loaded = {LoadedName(path), comesBackWith.value_or(LoadedName(path)), node};
            }
            ++loaded.references;
            ++tally_.open;
            module = ModuleHandle{node->number};
        });
    }
    SystemError FindRange(const char* operation, const void* address, ModuleHandle& module) const {
        return Call(operation, [&] {
            const auto value = reinterpret_cast<std::uintptr_t>(address);
            const auto range = std::ranges::find_if(
                ranges, [value](const Range& known) { return value >= known.begin && value < known.end; });
            Require(range != ranges.end(), SystemError::NotFound);
            module = range->module;
        });
    }

    Disk& disk_;
    std::map<ModuleHandle, Loaded> loaded_;
    HandleTable<ModuleHandle, Loaded> resources_{core_, "mapped resources"};
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
        return Call("ImageFileName", [&] { path = At(images, processId, SystemError::InvalidParameter); });
    }
    SystemError Start(const std::u16string& commandLine, std::uint32_t creationFlags,
                      StartedProcess& started) override {
        asked.push_back({commandLine, creationFlags});
        if (onStart) {
            onStart();
        }
        return Call("Start", [&] {
            RequireNoNul(commandLine);
            const bool isQuoted = commandLine.starts_with(u'"');
            disk_.Existing(isQuoted ? commandLine.substr(1, commandLine.find(u'"', 1) - 1) : commandLine);
            OwnedProcess process(*this, processes_.Add(0));
            const ThreadHandle thread = givesThreadHandle ? threads_.Add(0) : ThreadHandle{};
            started = {process.Release(), thread, 4242, 4243};
        });
    }
    void CloseThread(ThreadHandle thread) noexcept override { threads_.Remove(thread); }
    void CloseProcess(ProcessHandle process) noexcept override { processes_.Remove(process); }

    std::optional<std::uint32_t> parentId = 50;
    std::map<std::uint32_t, std::u16string> images{{100, u"C:\\Program Files\\Host\\host.exe"},
                                                   {50, u"C:\\Program Files\\Host\\parent.exe"}};
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

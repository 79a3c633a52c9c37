#include "tests/fakes/FakeModules.h"

#include <algorithm>

#include "tslib/platform/FullPath.h"

namespace tests {

namespace {

constexpr SystemError kNoModule{193};

}  // namespace

SystemError FakeModules::FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) {
    ++namesAsked;
    return Call("FileName", [&] {
        const auto known = paths.find(module == kMainExecutable ? kExecutable : module);
        Require(known != paths.end() || References(module) != 0, SystemError::ModuleNotFound);
        const std::u16string& name = known != paths.end() ? known->second : loaded_[module].path;
        Require(name.size() < capacity, SystemError::InsufficientBuffer);
        path = name;
    });
}

SystemError FakeModules::LoadModule(const char* operation, const std::u16string& path, ModuleHandle& module) {
    return Call(operation, path, [&] {
        const std::shared_ptr<Node> node = IsFullyQualified(path) ? disk_.Find(path) : nullptr;
        Require(node != nullptr, SystemError::ModuleNotFound);
        Require(node->isModule, kNoModule);
        Loaded& loaded = loaded_[ModuleHandle{node->number}];
        if (loaded.references == 0) {
            loaded.path = path;
            loaded.node = node;
        }
        ++loaded.references;
        ++tally_.open;
        module = ModuleHandle{node->number};
    });
}

EntryPoint FakeModules::FindEntryPoint(ModuleHandle module, const char* name) noexcept {
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

void FakeModules::Free(ModuleHandle module) noexcept {
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

SystemError FakeModules::FindRange(const char* operation, const void* address, ModuleHandle& module) const {
    return Call(operation, [&] {
        const auto value = reinterpret_cast<std::uintptr_t>(address);
        const auto range = std::ranges::find_if(
            ranges, [value](const Range& known) { return value >= known.begin && value < known.end; });
        Require(range != ranges.end(), SystemError::NotFound);
        module = range->module;
    });
}

SystemError FakeModules::MapResources(const std::u16string& path, ModuleHandle& module) {
    Keep(mapped, path);
    if (onMap) {
        onMap();
    }
    return Call("MapResources", path, [&] {
        const std::shared_ptr<Node> node = disk_.Existing(path);
        Require(node->isModule, kNoModule);
        module = resources_.Add(node);
    });
}

std::size_t FakeModules::ReadString(ModuleHandle module, std::uint32_t id, std::span<char16_t> buffer) noexcept {
    std::size_t length = 0;
    static_cast<void>(Call("ReadString", [&] {
        Node& node = References(module) != 0 ? *loaded_[module].node : *resources_[module];
        const std::u16string& text = At(node.strings, id, SystemError::NotFound);
        Require(!buffer.empty(), SystemError::InsufficientBuffer);
        length = std::min(text.size(), buffer.size() - 1);
        std::copy_n(text.data(), length, buffer.data());
        buffer[length] = u'\0';
    }));
    return length;
}

SystemError FakeProcesses::Start(const std::u16string& commandLine, std::uint32_t creationFlags,
                                 StartedProcess& started) {
    asked.push_back({commandLine, creationFlags});
    if (onStart) {
        onStart();
    }
    return Call("Start", [&] {
        RequireNoNul(commandLine);
        const bool isQuoted = commandLine.starts_with(u'"');
        static_cast<void>(
            disk_.Existing(isQuoted ? commandLine.substr(1, commandLine.find(u'"', 1) - 1) : commandLine));
        OwnedProcess process(*this, processes_.Add(0));
        const ThreadHandle thread = givesThreadHandle ? threads_.Add(0) : ThreadHandle{};
        started = {process.Release(), thread, 4242, 4243};
    });
}

}  // namespace tests

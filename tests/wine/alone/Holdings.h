// What the process holds, and allocations that fail.
#pragma once

#include "tests/wine/ShellServer.h"

// After windows.h.
#include <winternl.h>

#include <atomic>
#include <bit>
#include <cstddef>
#include <sstream>

namespace tests {

// Normal runs take a sample, every HALVORA_SWEEP_STEP-th; all without it.
[[nodiscard]] inline unsigned SweepStep() {
    const std::wstring text = VariableText(L"HALVORA_SWEEP_STEP");
    return text.empty() ? 1 : static_cast<unsigned>(std::stoul(text));
}

// The busy blocks of all heaps, and the open handles. Taking one allocates nothing.
class Holdings {
public:
    Holdings() {
        CountBlocks();
        CountHandles();
    }
    friend bool operator==(const Holdings&, const Holdings&) = default;
    // What is more or less than before.
    [[nodiscard]] std::string Since(const Holdings& before) const {
        std::ostringstream text;
        text << std::showpos << static_cast<std::ptrdiff_t>(handles_ - before.handles_) << " handles, "
             << static_cast<std::ptrdiff_t>(blocks_ - before.blocks_) << " blocks, "
             << static_cast<std::ptrdiff_t>(bytes_ - before.bytes_) << " bytes";
        return text.str();
    }

private:
    void CountBlocks() {
        HANDLE heaps[64] = {};
        const DWORD count = std::min<DWORD>(GetProcessHeaps(64, heaps), 64);
        for (DWORD i = 0; i < count; ++i) {
            PROCESS_HEAP_ENTRY entry{};
            while (HeapWalk(heaps[i], &entry)) {
                const Group* const group = AsGroup(entry);
                if (group != nullptr) {
                    Add(group->blockSize * kUnit, kGroupBlocks - std::popcount(group->freeBits & kGroupBits));
                } else if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
                    Add(entry.cbData, 1);
                }
            }
        }
    }
    void Add(std::size_t size, int count) {
        blocks_ += static_cast<std::size_t>(count);
        bytes_ += size * static_cast<std::size_t>(count);
    }

    // Wine 10 takes small blocks from groups of 31 of one size, each of which is a block for HeapWalk. Groups come and
    // go by themselves, with threads and peaks; what is busy in them counts.
    struct Group {
        void* links[2];
        std::uint32_t freeBits;
        std::uint32_t affinity;
        std::uint16_t blockSize;  // of the first block
    };
    static constexpr int kGroupBlocks = 31;
    static constexpr std::uint32_t kGroupBits = 0x7FFFFFFF;
    static constexpr std::size_t kUnit = 16;

    static const Group* AsGroup(const PROCESS_HEAP_ENTRY& entry) {
        const auto* const group = static_cast<const Group*>(entry.lpData);
        const bool isOne = (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 && entry.cbData > sizeof(Group) &&
                           group->blockSize * kUnit * kGroupBlocks + offsetof(Group, blockSize) == entry.cbData;
        return isOne ? group : nullptr;
    }
    // Wine does not count a process's: from its list of all, which is short.
    void CountHandles() {
        DWORD count = 0;
        if (GetProcessHandleCount(GetCurrentProcess(), &count) && count != 0) {
            handles_ = count;
            return;
        }
        struct Entry {
            void* object;
            ULONG_PTR process;
            ULONG_PTR handle;
            ULONG access;
            USHORT trace;
            USHORT type;
            ULONG attributes;
            ULONG reserved;
        };
        struct List {
            ULONG_PTR count;
            ULONG_PTR reserved;
            Entry entries[40'000];
        };
        static List list;
        static const auto query =
            SystemFunction<NTSTATUS WINAPI(ULONG, void*, ULONG, ULONG*)>(L"ntdll.dll", "NtQuerySystemInformation");
        constexpr ULONG kExtendedHandles = 64;
        EXPECT_EQ(query(kExtendedHandles, &list, sizeof(list), nullptr), 0);
        const ULONG_PTR own = GetCurrentProcessId();
        handles_ = static_cast<std::size_t>(std::count_if(list.entries, list.entries + list.count,
                                                          [own](const Entry& entry) { return entry.process == own; }));
    }

    std::size_t handles_ = 0;
    std::size_t blocks_ = 0;
    std::size_t bytes_ = 0;
};

// In place of all allocations that one of our modules imports; its operator new asks malloc. One of them, or all from
// one on, fail.
class Shortage : ForTest {
public:
    // Number `first` fails, and with `goesOn` all after it; none when that is 0.
    Shortage(HMODULE module, std::size_t first, bool goesOn)
        : allocate_(module, allocate, &Allocate),
          clear_(module, allocateClear, &Clear),
          grow_(module, reallocate, &Grow),
          taskAllocate_(module, taskAllocate, &TaskAllocate) {
        asked = 0;
        failing = first;
        isEndless = goesOn;
    }
    ~Shortage() { failing = 0; }

    static inline std::atomic<std::size_t> asked = 0;

private:
    static bool Fails() {
        const std::size_t number = ++asked;
        return failing != 0 && (number == failing || (isEndless && number > failing));
    }
    static void* __cdecl Allocate(std::size_t size) { return Fails() ? nullptr : allocate(size); }
    static void* __cdecl Clear(std::size_t count, std::size_t size) {
        return Fails() ? nullptr : allocateClear(count, size);
    }
    static void* __cdecl Grow(void* block, std::size_t size) { return Fails() ? nullptr : reallocate(block, size); }
    static void* WINAPI TaskAllocate(SIZE_T size) { return Fails() ? nullptr : taskAllocate(size); }

    static inline const auto allocate = SystemFunction<void* __cdecl(std::size_t)>(L"msvcrt.dll", "malloc");
    static inline const auto allocateClear =
        SystemFunction<void* __cdecl(std::size_t, std::size_t)>(L"msvcrt.dll", "calloc");
    static inline const auto reallocate = SystemFunction<void* __cdecl(void*, std::size_t)>(L"msvcrt.dll", "realloc");
    static inline const auto taskAllocate = &CoTaskMemAlloc;
    static inline std::atomic<std::size_t> failing = 0;
    static inline std::atomic<bool> isEndless = false;
    ImportPatch allocate_;
    ImportPatch clear_;
    ImportPatch grow_;
    ImportPatch taskAllocate_;
};

}  // namespace tests

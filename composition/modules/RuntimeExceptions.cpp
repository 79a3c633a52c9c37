#include "composition/modules/RuntimeExceptions.h"

#include <windows.h>

#include <atomic>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// In front of each exception object stands the runtime's own header, which it finds by its end. It has 160 bytes (g++
// 12).
constexpr std::size_t kHeader = 256;
constexpr std::size_t kSlot = kHeader + HVR::kLargestReserved;

static_assert(HVR::kReservedExceptions == 64, "one bit each");
constinit std::atomic<std::uint64_t> taken{0};
alignas(std::max_align_t) std::byte reserve[HVR::kReservedExceptions][kSlot];

// Null when the reserve has no place either.
void* Take(std::size_t size) noexcept {
    void* const block = std::malloc(size);
    if (block != nullptr || size > kSlot) {
        return block;
    }
    for (std::uint64_t bits = taken.load(std::memory_order_relaxed); ~bits != 0;) {
        const auto slot = static_cast<std::size_t>(std::countr_one(bits));
        if (taken.compare_exchange_weak(bits, bits | std::uint64_t{1} << slot, std::memory_order_acquire)) {
            return reserve[slot];
        }
    }
    return nullptr;
}

void Give(void* block) noexcept {
    const auto offset = reinterpret_cast<std::uintptr_t>(block) - reinterpret_cast<std::uintptr_t>(&reserve);
    if (offset < sizeof(reserve)) {
        taken.fetch_and(~(std::uint64_t{1} << (offset / kSlot)), std::memory_order_release);
    } else {
        std::free(block);
    }
}

// As the platform's binary interface for exceptions has it.
struct ThreadsExceptions {
    void* caught;
    unsigned int uncaught;
};

// A place for each thread that threw or caught something here and lives. The list of owners is short enough to be
// searched whole.
constexpr std::size_t kMostThreads = 2048;
std::atomic<DWORD> owners[kMostThreads];
ThreadsExceptions places[kMostThreads];

ThreadsExceptions* PlaceOf(DWORD thread) noexcept {
    const std::size_t first = thread / 4 % kMostThreads;  // numbers of threads are multiples of 4
    for (std::size_t i = 0; i < kMostThreads; ++i) {
        const std::size_t place = (first + i) % kMostThreads;
        if (owners[place].load(std::memory_order_relaxed) == thread) {
            return &places[place];
        }
    }
    return nullptr;
}

ThreadsExceptions* NewPlaceOf(DWORD thread) noexcept {
    for (std::size_t i = 0; i < kMostThreads; ++i) {
        const std::size_t place = (thread / 4 + i) % kMostThreads;
        DWORD nobody = 0;
        if (owners[place].compare_exchange_strong(nobody, thread, std::memory_order_acquire)) {
            places[place] = {};
            return &places[place];
        }
    }
    std::abort();
}

}  // namespace

extern "C" {

void* __cxa_allocate_exception(std::size_t size) noexcept {
    auto* const block = static_cast<std::byte*>(Take(size + kHeader));
    if (block == nullptr) {
        std::abort();
    }
    std::memset(block, 0, kHeader);
    return block + kHeader;
}

void __cxa_free_exception(void* exception) noexcept { Give(static_cast<std::byte*>(exception) - kHeader); }

// A second reference to an exception is such a header alone.
void* __cxa_allocate_dependent_exception() noexcept {
    void* const block = Take(kHeader);
    if (block == nullptr) {
        std::abort();
    }
    return std::memset(block, 0, kHeader);
}

void __cxa_free_dependent_exception(void* exception) noexcept { Give(exception); }

ThreadsExceptions* __cxa_get_globals() noexcept {
    const DWORD thread = GetCurrentThreadId();
    ThreadsExceptions* const known = PlaceOf(thread);
    return known != nullptr ? known : NewPlaceOf(thread);
}

// The runtime may take it for granted that the other one was called before.
ThreadsExceptions* __cxa_get_globals_fast() noexcept { return __cxa_get_globals(); }

}  // extern "C"

namespace __gnu_cxx {

// In place of the runtime's own, which prints the exception's name to a console that no host has, and brings a
// demangler and the formatting of numbers along for it: a sixth of each module.
void __verbose_terminate_handler() { std::abort(); }

}  // namespace __gnu_cxx

namespace HVR {

void ForgetThreadsExceptions() noexcept {
    const DWORD thread = GetCurrentThreadId();
    for (std::atomic<DWORD>& owner : owners) {
        if (owner.load(std::memory_order_relaxed) == thread) {
            owner.store(0, std::memory_order_release);
            return;
        }
    }
}

}  // namespace HVR

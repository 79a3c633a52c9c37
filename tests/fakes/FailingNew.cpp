#include "tests/fakes/FailingNew.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::uint32_t remaining = 0;
thread_local bool fired = false;

bool MustFail() noexcept {
    if (remaining != 0 && --remaining == 0) {
        fired = true;
        return true;
    }
    return false;
}

void* AllocateOrThrow(std::size_t bytes) {
    void* block = MustFail() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace

namespace tests {

FailingNew::FailingNew(std::uint32_t n) noexcept {
    fired = false;
    remaining = n;
}
FailingNew::~FailingNew() { remaining = 0; }
bool FailingNew::Fired() const noexcept { return fired; }

}  // namespace tests

void* operator new(std::size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new[](std::size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return MustFail() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return MustFail() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

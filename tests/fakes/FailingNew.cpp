#include "tests/fakes/FailingNew.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::uint32_t remaining = 0;
thread_local bool fired = false;
thread_local const std::function<void()>* instead = nullptr;

}  // namespace

namespace tests {

FailingNew::FailingNew(std::uint32_t n, const std::function<void()>* meanwhile) noexcept {
    fired = false;
    instead = meanwhile;
    remaining = n;
}
FailingNew::~FailingNew() { remaining = 0; }
bool FailingNew::Fired() const noexcept { return fired; }

}  // namespace tests

// The forms for arrays are made of these.
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    if (remaining != 0 && --remaining == 0) {
        fired = true;
        if (instead == nullptr) {
            return nullptr;
        }
        (*instead)();
    }
    return std::malloc(bytes == 0 ? 1 : bytes);
}
void* operator new(std::size_t bytes) {
    void* const block = operator new(bytes, std::nothrow);
    return block != nullptr ? block : throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

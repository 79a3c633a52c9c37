#include "tests/fakes/FailingNew.h"

#include <cstdlib>
#include <new>

using tests::FailingNew;

#ifdef __SANITIZE_ADDRESS__
// Tests make millions of small blocks: what is kept of each one by default takes longer than the tests.
extern "C" const char* __asan_default_options() { return "malloc_context_size=6:quarantine_size_mb=16"; }
#endif

// The forms for arrays are made of these.
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    if (FailingNew::remaining != 0 && --FailingNew::remaining == 0) {
        FailingNew::fired = true;
        if (FailingNew::instead == nullptr) {
            return nullptr;
        }
        (*FailingNew::instead)();
    }
    return std::malloc(bytes == 0 ? 1 : bytes);
}
void* operator new(std::size_t bytes) {
    void* const block = operator new(bytes, std::nothrow);
    return block != nullptr ? block : throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

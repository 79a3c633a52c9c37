// Component memory from the global allocator, so that a FailingNew makes it run out; every block is tracked.
#pragma once

#include <mutex>
#include <new>
#include <set>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/ComponentMemory.h"

namespace tests {

// Any thread.
class FakeComponentMemory final : public tsLib::platform::ComponentMemory, public CanFail {
public:
    [[nodiscard]] void* Allocate(std::size_t bytes) noexcept override {
        const std::lock_guard lock(mutex_);
        if (Failed(Fault()) || bytes > kMost) {
            return nullptr;
        }
        void* block = ::operator new(bytes, std::nothrow);
        try {
            if (block != nullptr) {
                blocks_.insert(block);
            }
        } catch (const std::bad_alloc&) {
            ::operator delete(block);
            block = nullptr;
        }
        return block;
    }
    void Free(void* block) noexcept override {
        const std::lock_guard lock(mutex_);
        if (block == nullptr) {
            return;
        }
        if (blocks_.erase(block) == 0) {
            ++misuses_;
            return;
        }
        ::operator delete(block);
    }

    [[nodiscard]] std::size_t OpenHandles() const {
        const std::lock_guard lock(mutex_);
        return blocks_.size();
    }
    // Frees of blocks that are not held, double frees among them.
    [[nodiscard]] std::size_t Misuses() const {
        const std::lock_guard lock(mutex_);
        return misuses_;
    }

private:
    // No system has more; a sanitizer's allocator would stop the program.
    static constexpr std::size_t kMost = std::size_t{1} << 36;

    mutable std::mutex mutex_;
    std::set<void*> blocks_;
    std::size_t misuses_ = 0;
};

}  // namespace tests

// Ownership of a platform handle that crossed the seam.
//
// Handles are opaque numbers; zero is never a valid one, whatever the platform uses behind the seam. The owner keeps
// the interface that closes the handle, so the interface must outlive it. Closing never throws and never changes the
// platform's last error.
#pragma once

#include <utility>

namespace tsLib::platform {

template <class Interface, class Handle, void (Interface::*CloseFunction)(Handle) noexcept>
class Owned {
public:
    explicit Owned(Interface& closer) noexcept : interface_(&closer) {}
    Owned(Interface& closer, Handle handle) noexcept : interface_(&closer), handle_(handle) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    Owned(Owned&& other) noexcept : interface_(other.interface_), handle_(std::exchange(other.handle_, Handle{})) {}
    Owned& operator=(Owned&& other) noexcept {
        if (this != &other) {
            Reset();
            interface_ = other.interface_;
            handle_ = std::exchange(other.handle_, Handle{});
        }
        return *this;
    }
    ~Owned() { Reset(); }

    [[nodiscard]] Handle Get() const noexcept { return handle_; }
    [[nodiscard]] explicit operator bool() const noexcept { return handle_ != Handle{}; }

    // The place for an operation that makes a handle; what was held before is closed first.
    [[nodiscard]] Handle& Receive() noexcept {
        Reset();
        return handle_;
    }
    [[nodiscard]] Handle Release() noexcept { return std::exchange(handle_, Handle{}); }
    void Reset() noexcept {
        if (handle_ != Handle{}) {
            (interface_->*CloseFunction)(std::exchange(handle_, Handle{}));
        }
    }

private:
    Interface* interface_;
    Handle handle_{};
};

}  // namespace tsLib::platform

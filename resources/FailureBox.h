// Telling the user that the resource module could not be loaded, at a time when nobody has to wait for it.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/platform/Desktop.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/Locks.h"

namespace HVR {

// A message box answers when the user does, and lets other calls of its thread in meanwhile: it is shown by who holds
// no lock. What the loader finds is kept until then. Each failure is told once in a process, also when this library is
// unloaded and loaded again. Any thread; an operation without memory tells nothing.
class FailureBox {
public:
    explicit FailureBox(tsLib::platform::Desktop& desktop) noexcept : desktop_(desktop) {}
    FailureBox(const FailureBox&) = delete;
    FailureBox& operator=(const FailureBox&) = delete;

    void Keep(tsLib::HResult failure, std::u16string text) noexcept;
    // Shows what is kept, if it was not told before, and returns when the user has closed it.
    void Show() noexcept;

    // While one is alive, what would be shown is dropped, and may be told another time: nobody sits before a silent
    // installation.
    class Quiet {
    public:
        explicit Quiet(FailureBox& box) noexcept : box_(box) { box_.Count(1); }
        ~Quiet() { box_.Count(-1); }
        Quiet(const Quiet&) = delete;
        Quiet& operator=(const Quiet&) = delete;

    private:
        FailureBox& box_;
    };

private:
    void Count(int change) noexcept;

    tsLib::platform::Desktop& desktop_;
    tsLib::platform::Lock lock_;  // for what follows
    tsLib::HResult failure_ = tsLib::HResult::Ok;
    std::u16string text_;
    int quiet_ = 0;
};

}  // namespace HVR

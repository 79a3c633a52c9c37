// The samples' root certificate.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <utility>

namespace HVR::platformkit {

// A certificate among the root certificates that the machine, or the user alone, trusts.
class TestRoot {
public:
    TestRoot(std::string certificate, bool isMachines)
        : certificate_(std::move(certificate)), isMachines_(isMachines) {}
    enum class Added : std::uint8_t { Yes, WasThere, No };
    [[nodiscard]] Added Add() const;
    // True when it is not there afterwards.
    [[nodiscard]] bool Remove() const;

private:
    std::string certificate_;
    bool isMachines_;
};

}  // namespace HVR::platformkit

// A console that keeps what a verb writes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/zebdiag/Verb.h"

namespace tests {

class KeptConsole final : public HVR::zebdiag::Console {
public:
    void Out(std::string_view line) override { out.append(line).append("\n"); }
    void Err(std::string_view line) override { err.append(line).append("\n"); }
    std::string out;
    std::string err;
};

inline HVR::zebdiag::ExitCode Call(const std::vector<HVR::zebdiag::Verb>& verbs,
                                   const std::vector<std::u16string>& arguments, KeptConsole& console) {
    return HVR::zebdiag::Dispatch(verbs, arguments, console);
}

}  // namespace tests

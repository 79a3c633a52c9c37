// One call of zebdiag with the verbs that a test adds.
#pragma once

#include "tools/zebdiag/Verbs.h"

namespace tests {

struct Called {
    HVR::zebdiag::ExitCode code;
    std::string out;
    std::string err;
};

template <class AddVerbs>
[[nodiscard]] Called Call(AddVerbs&& addVerbs, const std::vector<std::u16string>& arguments) {
    struct KeptConsole final : HVR::zebdiag::Console {
        void Out(std::string_view line) override { out.append(line).append("\n"); }
        void Err(std::string_view line) override { err.append(line).append("\n"); }
        std::string out;
        std::string err;
    } console;
    HVR::zebdiag::Program program(console, [&console] { console.Err("tracing"); });
    addVerbs(program);
    const auto code = program.Call(arguments);
    return {code, console.out, console.err};
}

}  // namespace tests

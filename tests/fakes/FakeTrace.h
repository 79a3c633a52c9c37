// A trace output that keeps every record.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "tslib/TraceEvents.h"
#include "tslib/Tracer.h"
#include "tslib/platform/TraceOutput.h"

namespace tests {

struct KeptTrace {
    tsLib::platform::TraceLevel level;
    tsLib::TraceEvent event;
    std::vector<std::uint64_t> numbers;  // the numeric arguments, in order
    std::vector<std::u16string> texts;   // the text arguments, in order
};

// Any thread may write; read when no other thread writes. Records that memory cannot hold are dropped.
class FakeTrace final : public tsLib::platform::TraceOutput {
public:
    [[nodiscard]] bool IsEnabled(tsLib::platform::TraceLevel) const noexcept override { return enabled; }
    void Write(const tsLib::platform::TraceRecord& record) noexcept override;

    [[nodiscard]] std::size_t Count(tsLib::platform::TraceLevel level) const;
    [[nodiscard]] std::size_t Count(tsLib::TraceEvent event) const;

    bool enabled = true;
    std::vector<KeptTrace> records;

private:
    std::mutex mutex_;
};

}  // namespace tests

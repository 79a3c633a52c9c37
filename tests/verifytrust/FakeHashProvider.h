// A hash provider that keeps one word for every file, and can fail at each of its steps.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeFiles.h"
#include "tslib/verifytrust/HashProvider.h"

namespace tests {

struct HashProviderScript : CanFail {
    using SystemError = tsLib::platform::SystemError;

    bool exists = true;                 // false: no provider can be made
    std::optional<std::uint32_t> word;  // "vtresult"; none: the value is not there
    int failingStep = 0;                // 1 open record, 2 open result, 3 read
    FakeClock* clock = nullptr;         // each step takes this long on it
    std::uint32_t milliseconds = 0;
    FakeFiles* files = nullptr;

    std::size_t created = 0;
    std::size_t records = 0;  // OpenRecord calls
    std::uint32_t mode = 0;   // the last mode asked for
    std::u16string client;    // the last name given
    std::u16string file;      // the last file whose record was asked for
    int live = 0;             // providers, records and results that exist

    SystemError Step(int step) {
        if (clock != nullptr) {
            clock->Advance(milliseconds);
        }
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        return failingStep == step ? SystemError::InternalError : SystemError::Success;
    }
};

namespace detail {

struct Counted {
    explicit Counted(HashProviderScript& owner) : script(owner) { ++script.live; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    HashProviderScript& script;

protected:
    ~Counted() { --script.live; }
};

struct ScriptedResult final : tsLib::HashResult, Counted {
    using Counted::Counted;
    tsLib::platform::SystemError ReadNumber(std::u16string_view name, std::uint32_t& value) override {
        if (const auto error = script.Step(3); Failed(error)) {
            return error;
        }
        if (name != u"vtresult" || !script.word) {
            return tsLib::platform::SystemError::NotFound;
        }
        value = *script.word;
        return tsLib::platform::SystemError::Success;
    }
};

struct ScriptedRecord final : tsLib::HashRecord, Counted {
    using Counted::Counted;
    tsLib::platform::SystemError OpenResult(tsLib::HashResultMode mode,
                                            std::unique_ptr<tsLib::HashResult>& result) override {
        script.mode = static_cast<std::uint32_t>(mode);
        if (const auto error = script.Step(2); Failed(error)) {
            return error;
        }
        result = std::make_unique<ScriptedResult>(script);
        return tsLib::platform::SystemError::Success;
    }
};

struct ScriptedProvider final : tsLib::HashProvider, Counted {
    using Counted::Counted;
    tsLib::platform::SystemError OpenRecord(tsLib::platform::FileHandle file, std::u16string_view client,
                                            std::unique_ptr<tsLib::HashRecord>& record) override {
        ++script.records;
        script.client = client;
        script.file = script.files->PathOf(file);
        if (const auto error = script.Step(1); Failed(error)) {
            return error;
        }
        record = std::make_unique<ScriptedRecord>(script);
        return tsLib::platform::SystemError::Success;
    }
};

}  // namespace detail

class FakeHashProviders final : public tsLib::HashProviderFactory {
public:
    [[nodiscard]] std::unique_ptr<tsLib::HashProvider> Create() override {
        ++script.created;
        return script.exists ? std::make_unique<detail::ScriptedProvider>(script) : nullptr;
    }
    HashProviderScript script;
};

}  // namespace tests
